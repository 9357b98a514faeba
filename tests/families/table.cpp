// SPDX-License-Identifier: MIT
#include "families/table.h"

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

#include "support/exported_functions.h"

namespace families {

namespace {

std::map<std::string, std::array<int, 3>> passed;
std::set<std::pair<std::string, Kind>> shown_by_this_test;

class Counter : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override { shown_by_this_test.clear(); }
    void OnTestEnd(const testing::TestInfo& test) override {
        if (!test.result()->Passed() || test.result()->Skipped()) return;
        for (const auto& [function, kind] : shown_by_this_test) ++passed[function].at(static_cast<std::size_t>(kind));
    }
};

class HasNoEmptyCell : public testing::Test {
    void TestBody() override {
        const std::vector<std::string> functions = testing_support::exported_functions();
        EXPECT_FALSE(functions.empty());
        std::printf("%-28s | good | bad input | absent\n", "function");
        for (const std::string& function : functions) {
            const auto [good, bad_input, absent] = passed[function];
            std::printf("%-28s | %4d | %9d | %6d\n", function.c_str(), good, bad_input, absent);
            EXPECT_GT(good, 0) << function;
            EXPECT_GT(bad_input, 0) << function;
            EXPECT_GT(absent, 0) << function;
        }
        EXPECT_EQ(passed.size(), functions.size()) << "a test is for a function that is not exported";
    }
};

}  // namespace

void proves(Kind kind, const std::vector<std::string>& functions) {
    for (const std::string& function : functions) shown_by_this_test.insert({function, kind});
}

void keep_table() {
    testing::UnitTest::GetInstance()->listeners().Append(new Counter);
    // The test that is registered last runs last.
    testing::RegisterTest("Table", "HasNoEmptyCell", nullptr, nullptr, __FILE__, __LINE__,
                          []() -> testing::Test* { return new HasNoEmptyCell; });
}

}  // namespace families
