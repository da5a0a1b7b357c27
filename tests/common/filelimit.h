#pragma once

#include <sys/resource.h>

/*
 * Lowers the process's limit of open files so that the next descriptor
 * cannot be opened, and restores the limit when it goes. Keep the scope short:
 * every thread of the process is affected.
 */
class FileLimit
{
public:
    FileLimit() = default;
    ~FileLimit();
    FileLimit(const FileLimit &) = delete;
    FileLimit &operator=(const FileLimit &) = delete;

    bool exhaust();

private:
    rlimit m_saved{};
    bool m_lowered = false;
};
