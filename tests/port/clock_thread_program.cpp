// SPDX-License-Identifier: Apache-2.0
// A program of its own, so that nothing has waited before: only the calls that need it start the clock's
// thread. Its exit status says what went wrong.
#include <msgQLib.h>
#include <taskLib.h>
#include <tickLib.h>

#include <filesystem>
#include <iterator>

namespace {

std::ptrdiff_t threadsOfProcess() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
}

}  // namespace

int main() {
    const std::ptrdiff_t before = threadsOfProcess();
    tickAnnounce();
    taskDelay(0);
    const MSG_Q_ID queue = msgQCreate(1, 16, MSG_Q_FIFO);
    char letter = 'a';
    msgQSend(queue, &letter, 1, WAIT_FOREVER, MSG_PRI_NORMAL);
    msgQSend(queue, &letter, 1, NO_WAIT, MSG_PRI_NORMAL);
    if (msgQNumMsgs(queue) != 1 || threadsOfProcess() != before) {
        return 1;
    }
    taskDelay(1);
    return threadsOfProcess() > before ? 0 : 2;
}
