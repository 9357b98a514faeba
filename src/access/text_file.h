// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "access/descriptor.h"

namespace Velmor {

/** A path in pieces, which are joined without the heap. */
using Path = std::initializer_list<std::string_view>;

/**
 * A text file of the kernel for one access: it is opened, read or written once, and closed. Every failure, including
 * that of opening and closing, throws the standard stream failure; interrupted reads and writes are repeated.
 *
 * A page is read at once. An attribute is no longer than that, so its text is the value of one moment. The heap is used
 * only for a value that may continue: at the end of a page, or of a text without a newline.
 *
 * A function with a character buffer on its stack, such as one with a TextFile, is marked gnu::stack_protect: link-time
 * optimisation loses track of such buffers, and g++ would leave the protector out.
 */
class TextFile {
public:
    enum Access { reading, writing };

    /** Opens for reading, and reads the first page; or opens for writing, truncated, and created if missing. */
    TextFile(Path path, Access access = reading);

    /**
     * Takes a piece off the front of the text with this function. If it took all the text and there is more, it is
     * called again with more.
     */
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
    /** Takes the rest of the line, without the newline; false at the end of the text. */
    bool take_line(std::string& line);

    /** In one write, unless the system takes only a part; the rest then follows in another. */
    void write(std::string_view text);
    /** Call this when done: a driver may reject a value here, which a destructor could not report. */
    void close();

private:
    [[gnu::cold, gnu::noinline]] bool more();
    std::string_view read_page();

    Descriptor file_;
    std::string_view text_;  // read but not yet taken
    bool ended_ = false;
    alignas(16) char page_[4096];  // first the path (PATH_MAX), then what is read
    std::string longer_;           // holds text_ when that is not in the page
};

}  // namespace Velmor
