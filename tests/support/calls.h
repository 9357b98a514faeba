// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <type_traits>

#include "support/scenario.h"

namespace testing_support {

/** Call an exported function without an output argument: call(io_set, 9, 1) is "0". */
template <typename... Parameters>
std::string call(int (*function)(Parameters...), std::type_identity_t<Parameters>... arguments) {
    return answer([&] { return function(arguments...); });
}

/** Call an exported function whose last argument is an output: query<io_value_t>(io_get, 9) is "0: 1". */
template <typename Output, typename Function, typename... Arguments>
std::string query(Function function, Arguments... arguments) {
    Out<Output> output;
    return answer([&] { return function(arguments..., output); }, output);
}

/** A call that touches nothing but the board. */
inline std::string query_es() {
    return query<bool>(es_present);
}

}  // namespace testing_support
