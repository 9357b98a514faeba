// SPDX-License-Identifier: MIT
#include "core/startup.h"

#include <pthread.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "access/failure.h"
#include "core/board_configuration.h"
#include "core/translator.h"

namespace Velmor {

namespace {

/**
 * The library mutex of one process. A child that was forked before its board had started makes one of its own: a thread
 * that it does not have may hold its parent's for ever. That needs no fork handler, which would run among those of the
 * application, in an order that nobody knows.
 *
 * HAZARD: a process is known by its number. A child that has its parent's number, as in a PID namespace of its own,
 * must not be forked within a start: it would wait for its parent's.
 */
struct Start {
    std::atomic<pid_t> process = 0;  // 0: nobody's yet
    std::mutex mutex;
};

constinit Start first_start;
constinit std::atomic<Start*> latest_start = &first_start;

constinit std::atomic<Board*> published_board = nullptr;

/**
 * Left half-built by an exception of another kind: the next call publishes it as far as it came. A shape that stays:
 * docs/architecture.md.
 */
constinit std::atomic<Board*> half_built_board = nullptr;

/** The process in which this thread is waiting for a start or in the middle of one. Reached without a call. */
[[gnu::tls_model("initial-exec")]] constinit thread_local pid_t starting_in = 0;

Start& start_of_this_process() {
    const pid_t process = ::getpid();
    Start* start = latest_start;
    pid_t owner = 0;
    if (start->process.compare_exchange_strong(owner, process) || owner == process) return *start;
    auto* const own = new Start;
    own->process = process;
    if (latest_start.compare_exchange_strong(start, own)) return *own;
    delete own;  // another thread was faster
    return *start;
}

/** Holds the library mutex of this process, while no board is published. */
class Turn {
public:
    Turn() : before_(std::exchange(starting_in, ::getpid())) {
        try {
            // A signal handler that has interrupted a start would wait for itself.
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
    // In short turns: a signal handler may fork while its thread waits, and the child must not wait for the parent's.
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
        delete board;  // frees the registry; the resources are lost, whatever they opened or wrote stays
        throw;
    } catch (...) {
        half_built_board = board;
        throw;
    }
    return board;
}

}  // namespace

Board& started_board() {
    // Final once it is set, so that no mutex is needed: another thread might hold it while a child is forked.
    if (Board* const published = published_board) return *published;
    Turn turn;
    if (Board* const published = published_board) return *published;
    Board* board = half_built_board;
    try {
        if (board == nullptr) board = build_board();
    } catch (const std::exception& error) {
        turn.end();  // the application's std::cerr may call the library, and a full pipe holds up nobody else
        report_startup_failure(error.what());
        throw std::runtime_error("cannot initialize board data");
    }
    // One is published already in a child that a signal handler has forked within this start, where the handler or
    // another thread called the library.
    Board* published = nullptr;
    return published_board.compare_exchange_strong(published, board) ? *board : *published;
}

}  // namespace Velmor
