// Runs a program under a given process number, which has to be free. Needs root. Other users could
// only start processes until the number is used again.
//   process-with-id NUMBER PROGRAM [ARGUMENT...]
// Ends when the program ends.

#include <linux/sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

int main(int argc, char *argv[])
{
    pid_t wanted = argc > 2 ? std::atoi(argv[1]) : 0;
    if (wanted <= 0) {
        std::fputs("usage: process-with-id NUMBER PROGRAM [ARGUMENT...]\n", stderr);
        return EXIT_FAILURE;
    }
    clone_args arguments = {};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&wanted);
    arguments.set_tid_size = 1;
    const long child = syscall(SYS_clone3, &arguments, sizeof arguments);
    if (child < 0) {
        std::perror("clone3");
        return EXIT_FAILURE;
    }
    if (child == 0) {
        execvp(argv[2], argv + 2);
        std::perror(argv[2]);
        _exit(EXIT_FAILURE);
    }
    int status = 0;
    waitpid(static_cast<pid_t>(child), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}
