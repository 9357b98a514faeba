// SPDX-License-Identifier: MIT
#include "sensors/thermal.h"

#include <gmock/gmock.h>

#include <climits>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/files_test.h"

using testing::ElementsAre;
using testing::FieldsAre;
using Velmor::Thermal;
using namespace testing_support;

namespace {

class ThermalTest : public FilesTest {
protected:
    ThermalTest() { make_zone({"critical", "hot", "active", "very_hot"}); }

    /** A zone with trip points of these types; trip point i has the temperature 1000 * (i + 1). */
    void make_zone(const std::vector<std::string>& types) const {
        remove(zone_);
        put(temperature_, "45000\n");
        for (std::size_t i = 0; i < types.size(); ++i) trip(i, types[i]);
    }

    std::string file(std::size_t i, const std::string& suffix) const {
        return zone_ + "/trip_point_" + std::to_string(i) + suffix;
    }

    void trip(std::size_t i, const std::string& type) const {
        put(file(i, "_type"), type + "\n");
        put(file(i, "_temp"), std::to_string(1000 * (i + 1)) + "\n");
    }

    static thermal_state_t query(Thermal& thermal) {
        thermal_state_t state = {};
        thermal.state_get(state);
        return state;
    }

    thermal_state_t query() const {
        Thermal thermal(zone_);
        return query(thermal);
    }

    std::string failure() const {
        return thrown([this] { query(); });
    }

    static void expect_failure_that_stores_nothing(Thermal& thermal) {
        thermal_state_t state = {-1, -2, -3, -4, -5};
        EXPECT_EQ(thrown([&] { thermal.state_get(state); }), "stream failure");
        EXPECT_THAT(state, FieldsAre(-1, -2, -3, -4, -5));
    }

    /** The files of the zone that this opens, in order: "temp r", with " = ENOENT" after it for a failure. */
    Acts opened(const std::function<void()>& code) const {
        const ChildResult child = run_in_child(recorder(), [&code] { return thrown(code); });
        return acts_after("open " + zone_ + "/", child.acts);
    }

    const std::string zone_ = directory_ / "thermal_zone0";
    const std::string temperature_ = zone_ + "/temp";
};

using ThermalActs = Recorded<ThermalTest>;

TEST_F(ThermalTest, TemperaturesAreReportedByTypeAndNotScaled) {
    EXPECT_THAT(query(), FieldsAre(45000, 3000, 2000, 4000, 1000));
    put(temperature_, "-2147483648\n");
    put(file(2, "_temp"), "2147483647\n");
    put(file(1, "_temp"), "0\n");
    put(file(3, "_temp"), " -1 \n");
    put(file(0, "_temp"), "7 8\n");
    EXPECT_THAT(query(), FieldsAre(INT_MIN, INT_MAX, 0, -1, 7));
}

TEST_F(ThermalTest, EveryQueryReadsTheCurrentTemperatures) {
    Thermal thermal(zone_);
    EXPECT_THAT(query(thermal), FieldsAre(45000, 3000, 2000, 4000, 1000));
    put(temperature_, "46000\n");
    put(file(0, "_temp"), "99000\n");
    EXPECT_THAT(query(thermal), FieldsAre(46000, 3000, 2000, 4000, 99000));
    // Types are read only at construction.
    put(file(0, "_type"), "active\n");
    remove(file(1, "_type"));
    EXPECT_THAT(query(thermal), FieldsAre(46000, 3000, 2000, 4000, 99000));
}

TEST_F(ThermalActs, FilesAreReadInTheOrderOfTheRecord) {
    put(zone_ + "/trip_point_4_type", "hot\n");
    EXPECT_THAT(opened([this] { query(); }),
                ElementsAre("trip_point_0_type r", "trip_point_1_type r", "trip_point_2_type r", "trip_point_3_type r",
                            "temp r", "trip_point_2_temp r", "trip_point_1_temp r", "trip_point_3_temp r",
                            "trip_point_0_temp r"));
}

TEST_F(ThermalTest, AnyUnreadableTemperatureFailsAndStoresNothing) {
    const std::vector<std::string> files = {temperature_, file(0, "_temp"), file(1, "_temp"), file(2, "_temp"),
                                            file(3, "_temp")};
    for (const std::string& path : files) {
        const std::string before = content(path);
        for (const char* text : {"", "\n", "warm\n", "2147483648\n", "missing"}) {
            put(path, text);
            if (std::string(text) == "missing") remove(path);
            Thermal thermal(zone_);
            SCOPED_TRACE(path + " " + text);
            expect_failure_that_stores_nothing(thermal);
        }
        put(path, before);
    }
    EXPECT_EQ(failure(), "nothing");
}

TEST_F(ThermalTest, TypeWithoutATripPointFailsTheQuery) {
    trip(3, "hot");
    EXPECT_EQ(failure(), "stream failure") << "very_hot has no trip point now";
    trip(0, "very_hot");
    trip(1, "critical");
    EXPECT_THAT(query(), FieldsAre(45000, 3000, 4000, 1000, 2000));
}

TEST_F(ThermalActs, LastTripPointOfATypeCounts) {
    trip(3, "hot");
    Thermal thermal(zone_);
    EXPECT_THAT(opened([&] { query(thermal); }), ElementsAre("temp r", "trip_point_2_temp r", "trip_point_3_temp r"));
}

TEST_F(ThermalTest, TypeThatCannotBeReadFailsOnlyTheQueries) {
    put(file(2, "_type"), "\n");
    Thermal thermal(zone_);
    put(file(2, "_type"), "active\n");
    EXPECT_EQ(thrown([&] { query(thermal); }), "stream failure");
}

TEST_F(ThermalActs, ScanStopsAtATypeThatIsMissingOrCannotBeRead) {
    put(file(1, "_type"), "\n");
    EXPECT_THAT(opened([this] { Thermal thermal(zone_); }), ElementsAre("trip_point_0_type r", "trip_point_1_type r"));
    make_zone({"active", "hot"});
    trip(3, "critical");
    EXPECT_THAT(opened([this] { Thermal thermal(zone_); }),
                ElementsAre("trip_point_0_type r", "trip_point_1_type r", "trip_point_2_type r = ENOENT"));
}

TEST_F(ThermalTest, GlobalLocaleChangesNothing) {
    const GroupingLocale grouping;
    put(temperature_, "45000,5\n");
    EXPECT_THAT(query(), FieldsAre(45000, 3000, 2000, 4000, 1000));
}

TEST_F(ThermalTest, TripPointsAfterTheFourthAreIgnored) {
    make_zone({"active", "passive", "hot", "critical", "very_hot"});
    EXPECT_EQ(failure(), "stream failure");
    trip(1, "very_hot");
    EXPECT_THAT(query(), FieldsAre(45000, 1000, 3000, 2000, 4000));
    make_zone({"a", "b", "c", "d", "active", "hot", "very_hot", "critical"});
    EXPECT_EQ(failure(), "stream failure");
}

TEST_F(ThermalTest, IncompleteOrMissingZoneFailsEveryQueryButNotConstruction) {
    make_zone({"active", "hot"});
    Thermal thermal(zone_);
    for (int i = 0; i < 3; ++i) expect_failure_that_stores_nothing(thermal);
    Thermal missing(directory_ / "none");
    expect_failure_that_stores_nothing(missing);
}

// For the thread sanitizer: a query must not change the map, not even when it fails.
TEST_F(ThermalTest, QueriesMayOverlap) {
    make_zone({"active", "hot"});
    Thermal thermal(zone_);
    int failures[2] = {};
    std::vector<std::thread> threads;
    for (int& count : failures) {
        threads.emplace_back([&thermal, &count] {
            for (int i = 0; i < 50; ++i) count += thrown([&thermal] { query(thermal); }) == "stream failure" ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(failures, ElementsAre(50, 50));
}

}  // namespace
