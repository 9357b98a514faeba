// SPDX-License-Identifier: MIT
#include "core/board.h"

#include <gmock/gmock.h>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "platform/platform.h"
#include "support/device.h"

using testing::_;  // NOLINT(bugprone-reserved-identifier): the matcher's name
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using namespace testing_support;
using namespace Velmor;

namespace {

using type = Resource::type;

type key(int number) {
    return static_cast<type>(number);
}

class PlatformMock : public Platform {
public:
    MOCK_METHOD(void, info_get, (platform_info_t*, std::size_t), (override));
    MOCK_METHOD(std::uint16_t, uid_get, (), (override));
    MOCK_METHOD(std::uint32_t, oemid_get, (), (override));
    MOCK_METHOD(std::uint32_t, mid_get, (), (override));
    MOCK_METHOD(std::uint16_t, can_manuf_code_get, (), (override));
    MOCK_METHOD(std::uint32_t, can_unique_num_get, (), (override));
    MOCK_METHOD(std::uint32_t, field_get, (std::uint32_t), (override));
};

/** The platform needs the device's files: it reads the hardware table when it is constructed. */
class BoardOnDevice : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        platform = std::make_unique<StrictMock<PlatformMock>>();
        board.add(type::platform, platform.get());
    }

    Board board;
    std::unique_ptr<StrictMock<PlatformMock>> platform;
};

TEST_F(BoardOnDevice, PlatformIsRegisteredWithoutReadingItsTable) {
    EXPECT_EQ(board.find(key(21)), platform.get());
}

TEST_F(BoardOnDevice, PlatformOperationsReachThePlatform) {
    platform_info_t info = {};
    EXPECT_CALL(*platform, info_get(&info, 7));
    board.platform_info_get(&info, 7);
    EXPECT_CALL(*platform, uid_get()).WillOnce(Return(65535));
    EXPECT_EQ(board.platform_uid_get(), 65535);
    EXPECT_CALL(*platform, oemid_get()).WillOnce(Return(0xFFFFFFFFU));
    EXPECT_EQ(board.platform_oemid_get(), 0xFFFFFFFFU);
    EXPECT_CALL(*platform, mid_get()).WillOnce(Return(0xFFFFFFFEU));
    EXPECT_EQ(board.platform_mid_get(), 0xFFFFFFFEU);
    EXPECT_CALL(*platform, can_manuf_code_get()).WillOnce(Return(65534));
    EXPECT_EQ(board.platform_can_manuf_code_get(), 65534);
    EXPECT_CALL(*platform, can_unique_num_get()).WillOnce(Return(0xFFFFFFFDU));
    EXPECT_EQ(board.platform_can_unique_num_get(), 0xFFFFFFFDU);
}

const std::system_error not_in_the_table(EOPNOTSUPP, std::system_category());

TEST_F(BoardOnDevice, HardwareTableFieldIsThePlatforms) {
    EXPECT_CALL(*platform, field_get(27)).WillOnce(Return(9));
    EXPECT_EQ(board.platform_hw_get(27), 9);
    EXPECT_CALL(*platform, field_get(28)).WillOnce(Throw(not_in_the_table));
    EXPECT_EQ(thrown([&] { board.platform_hw_get(28); }), system_error(EOPNOTSUPP));
}

struct Rule {
    int key;
    unsigned field;
    unsigned not_fitted;
};

constexpr Rule rules[] = {{10, 27, 15}, {11, 27, 15}, {37, 27, 15}, {39, 27, 15}, {14, 24, 0}, {12, 10, 0}};

TEST_F(BoardOnDevice, SixKeysAreSupportedAsTheirFieldSays) {
    for (const Rule& rule : rules) {
        for (unsigned value = 0; value < 16; ++value) {
            EXPECT_CALL(*platform, field_get(rule.field)).WillOnce(Return(value));
            EXPECT_EQ(board.supported(key(rule.key)), value != rule.not_fitted) << rule.key << ' ' << value;
        }
        EXPECT_CALL(*platform, field_get(rule.field))
            .WillOnce(Throw(std::runtime_error("unreadable")))
            .WillOnce(Throw(not_in_the_table))
            .WillOnce(Throw(42));
        for (int i = 0; i < 3; ++i) EXPECT_FALSE(board.supported(key(rule.key))) << rule.key;
    }
}

TEST_F(BoardOnDevice, OtherKeysAreSupportedWithoutReadingTheTable) {
    EXPECT_CALL(*platform, field_get(_)).Times(0);
    for (int number = 0; number <= 60; ++number) {
        if (std::ranges::find(rules, number, &Rule::key) != std::end(rules)) continue;
        EXPECT_TRUE(board.supported(key(number))) << number;
    }
}

TEST_F(BoardOnDevice, AddDropsWhatIsNotFitted) {
    Resource marker;
    EXPECT_CALL(*platform, field_get(27)).WillOnce(Return(15)).WillOnce(Return(14));
    board.add(type::echosounder, &marker);
    EXPECT_FALSE(board.es_present());
    board.add(type::echosounder, &marker);
    EXPECT_TRUE(board.es_present());
}

TEST_F(BoardOnDevice, FieldsAreReadFromTheDevicesTable) {
    Platform real_platform;
    board.add(type::platform, &real_platform);
    for (const int field : {27, 24, 10}) EXPECT_EQ(board.platform_hw_get(field), 1) << field;
    for (const int field : {0, -1})
        EXPECT_EQ(thrown([&] { board.platform_hw_get(field); }), system_error(EOPNOTSUPP)) << field;
    for (const Rule& rule : rules) EXPECT_TRUE(board.supported(key(rule.key))) << rule.key;
}

}  // namespace
