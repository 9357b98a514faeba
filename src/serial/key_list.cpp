// SPDX-License-Identifier: MIT
#include "serial/key_list.h"

#include <string>
#include <string_view>

#include "access/sysfs.h"
#include "access/text.h"
#include "access/text_file.h"

namespace Velmor {

namespace {

int key_code(std::string_view piece) {
    int code = 0;
    take_number(piece, code);
    return code;
}

std::vector<int> key_codes(std::string_view list) {
    std::vector<int> codes;
    do {
        codes.push_back(key_code(take_until(list, ",")));
    } while (!take_front(list, 1).empty());
    return codes;
}

}  // namespace

std::vector<int> KeyList::read() const {
    return key_codes(SysFS<std::string>::read_from({path_}));
}

[[gnu::stack_protect]] std::vector<int> KeyList::read_or_empty() const {
    std::string word;
    TextFile file({path_});
    take_value(file, word);
    file.close();
    return word.empty() ? std::vector<int>() : key_codes(word);
}

void KeyList::write(const std::vector<int>& codes) const {
    std::string list;
    for (const int code : codes) list += std::to_string(code) + ",";
    SysFS<std::string>::write_to({path_}, list);
}

}  // namespace Velmor
