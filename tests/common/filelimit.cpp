#include "filelimit.h"

#include <fcntl.h>
#include <unistd.h>

FileLimit::~FileLimit()
{
    if (m_lowered)
        setrlimit(RLIMIT_NOFILE, &m_saved);
}

bool FileLimit::exhaust()
{
    if (getrlimit(RLIMIT_NOFILE, &m_saved) != 0)
        return false;
    // A new descriptor always takes the lowest free number, so a limit at that
    // number refuses the next one.
    const int lowestFree = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (lowestFree < 0)
        return false;
    close(lowestFree);
    rlimit lowered = m_saved;
    lowered.rlim_cur = rlim_t(lowestFree);
    m_lowered = setrlimit(RLIMIT_NOFILE, &lowered) == 0;
    return m_lowered;
}
