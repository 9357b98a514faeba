// SPDX-License-Identifier: MIT
#include "core/startup.h"

#include <pthread.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>
#include <stdexcept>

#include "access/failure.h"
#include "core/board_configuration.h"
#include "core/translator.h"

namespace Velmor {

namespace {

/**
 * The library mutex of one process. A child that was forked before its board had started makes one of its own: a thread
 * that it does not have may hold its parent's for ever. That needs no fork handler, which would run among those of the
 * application, in an order that nobody knows.
 */
struct Start {
    std::atomic<pid_t> process = 0;  // 0: nobody's yet
    std::mutex mutex;
    std::atomic<pthread_t> holder = 0;
};

constinit Start first_start;
constinit std::atomic<Start*> latest_start = &first_start;

constinit std::atomic<Board*> published_board = nullptr;

/** Built, or left half-built by an exception of another kind; not set while the board is being built. */
constinit Board* board = nullptr;

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

/** Holds the library mutex. */
class Turn {
public:
    explicit Turn(Start& start) : start_(start) {
        // A signal handler that has interrupted the start would wait for itself.
        if (start_.holder == pthread_self()) throw_system_error(EDEADLK);
        start_.mutex.lock();
        start_.holder = pthread_self();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        start_.holder = 0;
        start_.mutex.unlock();
    }

private:
    Start& start_;
};

void build_board() {
    auto* const candidate = new Board;
    try {
        configure_board(*candidate);
    } catch (const std::exception&) {
        delete candidate;  // frees the registry; the resources are lost, whatever they opened or wrote stays
        throw;
    } catch (...) {
        board = candidate;  // the next call publishes it as far as it came
        throw;
    }
    board = candidate;
}

/** Null where the start has failed, with the reason. */
Board* ensure_board(std::exception_ptr& failure) {
    const Turn turn(start_of_this_process());
    if (published_board == nullptr && board == nullptr) {
        try {
            build_board();
        } catch (const std::exception&) {
            failure = std::current_exception();
            return nullptr;
        }
    }
    // One is published already where another thread was before us. And in a child that a signal handler has forked
    // within this start, where the handler called the library.
    Board* published = nullptr;
    return published_board.compare_exchange_strong(published, board) ? board : published;
}

}  // namespace

Board& started_board() {
    // Final once it is set, so that no mutex is needed: another thread might hold it while a child is forked.
    if (Board* const published = published_board) return *published;
    std::exception_ptr failure;
    if (Board* const started = ensure_board(failure)) return *started;
    // Without the mutex: the application's std::cerr may call the library, and a full pipe holds up nobody else.
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        report_startup_failure(error.what());
    }
    throw std::runtime_error("cannot initialize board data");
}

}  // namespace Velmor
