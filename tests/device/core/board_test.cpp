// SPDX-License-Identifier: MIT
#include "core/board.h"

#include <gmock/gmock.h>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "platform/platform.h"
#include "support/files.h"
#include "support/thrown.h"

using testing::_;  // NOLINT(bugprone-reserved-identifier): the matcher's name
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using testing_support::reset_device;
using testing_support::thrown;
using namespace Velmor;

namespace {

using type = Resource::type;

type key(int number) {
    return static_cast<type>(number);
}

constexpr char not_supported[] = "system_error 95 Operation not supported";

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

/** The platform reads the device's table when it is constructed, and so needs the device's files. */
class BoardOnDevice : public testing::Test {
protected:
    BoardOnDevice() {
        reset_device();
        platform = std::make_unique<StrictMock<PlatformMock>>();
        board.add(type::platform, platform.get());
    }

    Board board;
    std::unique_ptr<StrictMock<PlatformMock>> platform;
};

TEST_F(BoardOnDevice, PlatformIsRegisteredWithoutAQuestionToItsTable) {
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

TEST_F(BoardOnDevice, HardwareTableFieldIsThePlatforms) {
    EXPECT_CALL(*platform, field_get(27)).WillOnce(Return(9));
    EXPECT_EQ(board.platform_hw_get(27), 9);
    EXPECT_CALL(*platform, field_get(28)).WillOnce(Throw(std::system_error(EOPNOTSUPP, std::system_category())));
    EXPECT_EQ(thrown([&] { board.platform_hw_get(28); }), not_supported);
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
    }
}

TEST_F(BoardOnDevice, AnyExceptionOfTheTableIsNotSupported) {
    for (const Rule& rule : rules) {
        EXPECT_CALL(*platform, field_get(rule.field))
            .WillOnce(Throw(std::runtime_error("unreadable")))
            .WillOnce(Throw(std::system_error(EOPNOTSUPP, std::system_category())))
            .WillOnce(Throw(42));
        for (int i = 0; i < 3; ++i) EXPECT_FALSE(board.supported(key(rule.key))) << rule.key;
    }
}

TEST_F(BoardOnDevice, OtherKeysAreSupportedWithoutAQuestionToTheTable) {
    EXPECT_CALL(*platform, field_get(_)).Times(0);
    for (int number = 0; number <= 60; ++number) {
        bool has_rule = false;
        for (const Rule& rule : rules) has_rule = has_rule || rule.key == number;
        if (has_rule) continue;
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

TEST(BoardWithRealTable, FieldsAreReadFromTheDevicesTable) {
    reset_device();
    Platform platform;
    Board board;
    board.add(type::platform, &platform);
    EXPECT_EQ(board.platform_hw_get(27), 1);
    EXPECT_EQ(board.platform_hw_get(24), 1);
    EXPECT_EQ(board.platform_hw_get(10), 1);
    EXPECT_EQ(thrown([&] { board.platform_hw_get(0); }), not_supported);
    EXPECT_EQ(thrown([&] { board.platform_hw_get(-1); }), not_supported);
    for (const Rule& rule : rules) EXPECT_TRUE(board.supported(key(rule.key))) << rule.key;
}

}  // namespace
