/* SPDX-License-Identifier: Apache-2.0 */
/* Logs the load of the machine: loadwatch SECONDS. It starts `jorn record` itself and writes its lines to it,
 * so that both end in order: asked to end, this program writes its last line and closes the pipe; at the end
 * of its input the recorder stores everything in the log; only then does this program exit. */
#define _DEFAULT_SOURCE
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

/* Each line begins with its severity. A log that cannot be continued is put aside: a service has no user to
 * ask. */
#define RECORDER "exec jorn record --prefix-levels --if-unclear aside \"$LOGS_DIRECTORY\""

/* The syslog severities error, warning and information, which become levels 0, 1 and 2. */
enum { ALARM = 3, FAULT = 4, EVENT = 6 };

static void writeLoad(FILE *log) {
    double load;
    if (getloadavg(&load, 1) == 1) {
        fprintf(log, "<%d>load %.2f\n", load > 10 ? ALARM : load > 4 ? FAULT : EVENT, load);
    } else {
        fprintf(log, "<%d>the load cannot be read\n", FAULT);
    }
}

/* Runs until a signal asks it to stop or the recorder has exited. Returns whether every line was accepted. */
static int watch(FILE *log, const sigset_t *ends, time_t seconds) {
    const struct timespec pause = {seconds, 0};
    fprintf(log, "<%d>started\n", EVENT);
    do {
        writeLoad(log);
        if (fflush(log) != 0) {
            return 0;
        }
    } while (sigtimedwait(ends, NULL, &pause) < 0);
    fprintf(log, "<%d>ended\n", EVENT);
    return fflush(log) == 0;
}

int main(int argc, char **argv) {
    const long seconds = argc == 2 ? strtol(argv[1], NULL, 10) : 0;
    if (seconds < 1 || getenv("LOGS_DIRECTORY") == NULL) {
        fprintf(stderr, "usage: LOGS_DIRECTORY=DIR loadwatch SECONDS\n");
        return 2;
    }
    /* Signals stay blocked until sigtimedwait(), so that none is missed between a test and a pause. */
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, NULL);
    signal(SIGPIPE, SIG_IGN); /* fflush() reports a recorder that has exited */

    FILE *log = popen(RECORDER, "w");
    if (log == NULL) {
        perror("loadwatch: jorn");
        return 1;
    }
    const int areTaken = watch(log, &ends, seconds);
    return pclose(log) == 0 && areTaken ? 0 : 1; /* waits for the recorder */
}
