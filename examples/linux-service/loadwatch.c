/* SPDX-License-Identifier: Apache-2.0 */
/* Logs the load of the machine: loadwatch SECONDS. Its lines go through `jorn record`, which it starts by
 * itself, so that both end in order: asked to end, it writes its last line and closes the pipe; at the end of
 * its input the recorder brings everything into the log; only then this program ends. */
#define _DEFAULT_SOURCE
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

/* Each line begins with its severity; a log that cannot be continued is put aside, as nobody can be asked. */
#define RECORDER "exec jorn record --prefix-levels --if-unclear aside \"$LOGS_DIRECTORY\""

/* Severities of syslog: error, warning and information, which are the levels 0, 1 and 2. */
enum { ALARM = 3, FAULT = 4, EVENT = 6 };

static void writeLoad(FILE *log) {
    double load;
    if (getloadavg(&load, 1) == 1) {
        fprintf(log, "<%d>load %.2f\n", load > 10 ? ALARM : load > 4 ? FAULT : EVENT, load);
    } else {
        fprintf(log, "<%d>no load to be had\n", FAULT);
    }
}

/* Until a signal asks for the end, or the recorder is gone. Whether every line was taken. */
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
    /* Signals wait until they are asked for, so that none comes between a test and a pause. */
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, NULL);
    signal(SIGPIPE, SIG_IGN); /* a recorder that is gone is seen by fflush() */

    FILE *log = popen(RECORDER, "w");
    if (log == NULL) {
        perror("loadwatch: jorn");
        return 1;
    }
    const int areTaken = watch(log, &ends, seconds);
    return pclose(log) == 0 && areTaken ? 0 : 1; /* waits for the recorder */
}
