// SPDX-License-Identifier: MIT
#include "core/startup.h"

#include <pthread.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "access/failure.h"
#include "core/board_configuration.h"
#include "core/translator.h"

namespace Velmor {

namespace {

/**
 * The library mutex of one process. A child that is forked before the board has started makes one of its own: its
 * parent's may be held for ever, by a thread that the child does not have. This needs no fork handler, which would run
 * among the application's own in an unknown order.
 *
 * HAZARD: a process is identified by its PID. A child with the same PID as its parent, which is possible in a new PID
 * namespace, must not be forked during a start: it would wait for its parent's mutex.
 */
struct Start {
    std::atomic<pid_t> process = 0;  // 0: not in use yet
    std::mutex mutex;
};

constinit Start first_start;
constinit std::atomic<Start*> latest_start = &first_start;

constinit std::atomic<Board*> published_board = nullptr;

/**
 * A board that was left half-built by something other than a std::exception. The next call publishes it as it is. This
 * must not change: see docs/architecture.md.
 */
constinit std::atomic<Board*> half_built_board = nullptr;

/** The process in which this thread is starting the board, or waiting for the start. Accessed without a call. */
[[gnu::tls_model("initial-exec")]] constinit thread_local pid_t starting_in = 0;

Start& start_of_this_process() {
    const pid_t process = ::getpid();
    Start* start = latest_start;
    pid_t owner = 0;
    if (start->process.compare_exchange_strong(owner, process) || owner == process) return *start;
    auto own = std::make_unique<Start>();
    own->process = process;
    // Otherwise another thread was faster.
    if (latest_start.compare_exchange_strong(start, own.get())) return *own.release();
    return *start;
}

/** Holds the library mutex of this process, unless a board is already published. */
class Turn {
public:
    Turn() : before_(std::exchange(starting_in, ::getpid())) {
        try {
            // A signal handler that interrupted its own thread's start would wait for itself.
            if (before_ == starting_in) throw_system_error(EDEADLK);
            lock();
        } catch (...) {
            starting_in = before_;
            throw;
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { end(); }

    void end() {
        if (start_ != nullptr) std::exchange(start_, nullptr)->mutex.unlock();
        starting_in = before_;
    }

private:
    // Polls: a signal handler may fork while its thread waits, and the child must not wait for the parent's mutex.
    void lock() {
        constexpr useconds_t turn_us = 500;
        while (published_board == nullptr) {
            Start& start = start_of_this_process();
            const int error = pthread_mutex_trylock(start.mutex.native_handle());
            if (error == 0 && start.process == ::getpid()) {
                start_ = &start;
                return;
            }
            if (error == 0) start.mutex.unlock();
            if (error == EBUSY)
                ::usleep(turn_us);
            else if (error != 0)
                throw_system_error(error);
        }
    }

    const pid_t before_;
    Start* start_ = nullptr;
};

Board* build_board() {
    auto* const board = new Board;
    try {
        configure_board(*board);
    } catch (const std::exception&) {
        delete board;  // frees the registry; the resources leak, and what they opened or wrote stays
        throw;
    } catch (...) {
        half_built_board = board;
        throw;
    }
    return board;
}

}  // namespace

Board& started_board() {
    // Never changes once it is set, so no mutex is needed. Another thread might hold it while a child is forked.
    if (Board* const published = published_board) return *published;
    Turn turn;
    if (Board* const published = published_board) return *published;
    Board* board = half_built_board;
    try {
        if (board == nullptr) board = build_board();
    } catch (const std::exception& error) {
        turn.end();  // the application's std::cerr may call the library, and a full pipe must block nobody else
        report_startup_failure(error.what());
        throw std::runtime_error("cannot initialize board data");
    }
    // A board may already be published here: in a child that a signal handler forked during this start, the handler or
    // another thread may have called the library.
    Board* published = nullptr;
    return published_board.compare_exchange_strong(published, board) ? *board : *published;
}

}  // namespace Velmor
