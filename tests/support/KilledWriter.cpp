#include "support/KilledWriter.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

bool writtenThenKilled(const std::function<bool()>& write)
{
    int pipeFds[2];
    if (::pipe(pipeFds) != 0)
        return false;
    const pid_t child = ::fork();
    if (child < 0)
        return false;
    if (child == 0) {
        ::close(pipeFds[0]);
        const char status = write() ? 'K' : 'F';
        if (::write(pipeFds[1], &status, 1) != 1)
            _exit(2);
        for (;;)
            ::pause();
    }
    ::close(pipeFds[1]);
    char status = 0;
    const bool told = ::read(pipeFds[0], &status, 1) == 1;
    ::close(pipeFds[0]);
    ::kill(child, SIGKILL);
    int waited = 0;
    ::waitpid(child, &waited, 0);
    return told && WIFSIGNALED(waited) && status == 'K';
}
