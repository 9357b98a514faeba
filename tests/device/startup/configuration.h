// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <utility>

#include "access/io.h"
#include "core/board.h"

/** The board configuration of this program's boards. A test sets it before its child process makes the first call. */
extern std::function<void(Velmor::Board&)> configuration;
/** How often it has been run. */
extern int configurations;

/** A line that is read by calling this function. */
class Line : public Velmor::IO {
public:
    explicit Line(std::function<io_value_t()> read) : read_(std::move(read)) {}
    void set(const io_value_t& /*value*/) override {}
    io_value_t get() override { return read_(); }

private:
    std::function<io_value_t()> read_;
};

inline void add_line(Velmor::Board& board, int io, std::function<io_value_t()> read) {
    board.add(Velmor::Resource::type::io + io, new Line(std::move(read)));
}
