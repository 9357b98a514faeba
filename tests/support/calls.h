// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "support/scenario.h"

namespace testing_support {

/** Make a call(): result_of(io_set, 9, 1) is "0", and with an output argument result_of(io_get, 9) is "0: 1". */
template <typename Function, typename... Arguments>
std::string result_of(Function function, const Arguments&... arguments) {
    return call(function, arguments...)();
}

/** These calls, one after the other in one process: their results as joined() lists them. */
inline Scenario in_turn(const std::vector<Scenario>& calls) {
    return [calls] {
        std::string results;
        for (const Scenario& call : calls) results = joined({results, call()});
        return results;
    };
}

/** A call that touches nothing but the board. */
inline std::string query_es() {
    return result_of(es_present);
}

/** What a call prints if the board cannot start. */
inline std::string start_failed(const std::string& function, const std::string& cause) {
    return "cannot set board resources: " + cause + "\n" + failed(function, "cannot initialize board data");
}

}  // namespace testing_support
