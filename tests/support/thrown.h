// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <ios>
#include <locale>
#include <stdexcept>
#include <string>
#include <system_error>
#include <typeinfo>

namespace testing_support {

/**
 * What a piece of code throws, as one text to compare with: "nothing", "stream failure", "system_error <errno> <text>",
 * "invalid_argument <text>", "range_error <text>". Any other type, also one derived from these, and a system_error of
 * another category, gives a text that equals none of them.
 */
template <typename Code>
std::string thrown(Code code) {
    try {
        code();
    } catch (const std::ios_base::failure&) {
        return "stream failure";
    } catch (const std::exception& error) {
        if (typeid(error) == typeid(std::invalid_argument)) return std::string("invalid_argument ") + error.what();
        if (typeid(error) == typeid(std::range_error)) return std::string("range_error ") + error.what();
        const auto* system = dynamic_cast<const std::system_error*>(&error);
        if (typeid(error) == typeid(std::system_error) && system->code().category() == std::system_category()) {
            return "system_error " + std::to_string(system->code().value()) + " " + error.what();
        }
        return std::string(typeid(error).name()) + " " + error.what();
    }
    return "nothing";
}

/** What thrown() gives for the plain system_error of this errno. */
inline std::string system_error(int error) {
    return "system_error " + std::to_string(error) + " " + std::system_category().message(error);
}

/** For its lifetime the global locale writes and reads 1234567 as "1,234,567" and true as "ja", as an application's
 * may.
 */
class GroupingLocale {
public:
    GroupingLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Thousands))) {}
    ~GroupingLocale() { std::locale::global(before_); }
    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
    struct Thousands : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
        std::string do_truename() const override { return "ja"; }
        std::string do_falsename() const override { return "nein"; }
    };

    std::locale before_;
};

}  // namespace testing_support
