// SPDX-License-Identifier: MIT
#include "core/startup.h"

#include <pthread.h>
#include <exception>
#include <mutex>
#include <stdexcept>

#include "core/board_configuration.h"
#include "core/translator.h"

namespace Velmor {

namespace {

constinit std::mutex library_mutex;
constinit Board* board = nullptr;
constinit Board* published_board = nullptr;
constinit bool fork_prepared = false;

// A fork in one thread while another is inside the mutex would leave the child a mutex that nobody unlocks. The child
// gets its mutex unlocked, and a start-up that is under way is finished before the fork.
void prepare_for_forks() {
    if (fork_prepared) return;
    fork_prepared = pthread_atfork([] { library_mutex.lock(); }, [] { library_mutex.unlock(); },
                                   [] { library_mutex.unlock(); }) == 0;
}

void build_board() {
    try {
        board = new Board;
        configure_board(*board);
    } catch (const std::exception& error) {
        delete board;  // frees the registry; the resources are lost, whatever they opened or wrote stays
        board = nullptr;
        report_startup_failure(error.what());
    }
    // Anything else leaves with the board pointer set: the next call publishes the board as far as it came.
}

void ensure_board() {
    if (board == nullptr) build_board();
    if (published_board != nullptr) return;
    if (board == nullptr) throw std::runtime_error("cannot initialize board data");
    published_board = board;
}

}  // namespace

Board& started_board() {
    const std::lock_guard lock(library_mutex);
    prepare_for_forks();
    ensure_board();
    return *published_board;
}

}  // namespace Velmor
