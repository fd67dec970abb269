#pragma once

#include <QtGlobal>

#include <sys/resource.h>
#include <unistd.h>

#include <vector>

/// While such an object exists, this process cannot open anything, because all descriptors that it
/// may have are in use. Its event loop still works.
class NoDescriptors
{
public:
    NoDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit few{128, m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int fd = ::dup(STDOUT_FILENO); fd >= 0; fd = ::dup(STDOUT_FILENO))
            m_taken.push_back(fd);
    }
    ~NoDescriptors()
    {
        for (const int fd : m_taken)
            ::close(fd);
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }
    Q_DISABLE_COPY(NoDescriptors)

private:
    rlimit m_before = {};
    std::vector<int> m_taken;
};
