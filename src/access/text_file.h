// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "access/descriptor.h"

namespace Velmor {

/** A path in pieces; it is put together without the heap. */
using Path = std::initializer_list<std::string_view>;

/**
 * A text file of the kernel's for one access: it is opened, read or written once, and closed. Every failure, that of
 * opening and closing included, is the standard stream failure; interrupted reads and writes are repeated.
 *
 * A page is read at once, so that an attribute, which is no longer, is one moment's value. The heap is used only for
 * a value that may go on: at the end of a page, or of a text without a newline.
 *
 * What has a buffer of characters on its stack, as a function with one of these has, is marked gnu::stack_protect:
 * optimisation at link time loses sight of such buffers, and g++ would leave the protector out.
 */
class TextFile {
public:
    enum Access { reading, writing };

    /** Reads the first page; for writing the file is truncated, and created where it is missing. */
    TextFile(Path path, Access access = reading);

    /** Take a piece off the front of the text with this: again with more of it, when that took all there was. */
    template <typename Take>
    bool take(Take take_piece) {
        for (;;) {
            std::string_view text = text_;
            const bool taken = take_piece(text);
            if (text.empty() && more()) continue;
            text_ = text;
            return taken;
        }
    }
    bool take_character(char& character);
    /** The rest of the line, without the newline; false at the end of the text. */
    bool take_line(std::string& line);

    /** In one write; what the system did not take of it goes on in another. */
    void write(std::string_view text);
    /** To be called when done: a driver may refuse a value here, which a destructor could not report. */
    void close();

private:
    [[gnu::cold, gnu::noinline]] bool more();
    std::string_view read_page();

    Descriptor file_;
    std::string_view text_;  // read, but not taken
    bool ended_ = false;
    alignas(16) char page_[4096];  // the path (PATH_MAX), and then what is read
    std::string longer_;           // text_, where it does not stand in the page
};

}  // namespace Velmor
