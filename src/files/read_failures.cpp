#include "files/read_failures.h"

#include <cerrno>

namespace {

thread_local ReadFailures *failuresOfThread = nullptr;

} // namespace

ReadFailures::ReadFailures()
    : m_outer(failuresOfThread)
{
    failuresOfThread = this;
}

ReadFailures::~ReadFailures() { failuresOfThread = m_outer; }

void ReadFailures::note(const QString &path, const QString &reason)
{
    for (ReadFailures *failures = failuresOfThread; failures != nullptr;
         failures = failures->m_outer) {
        if (!failures->any())
            failures->m_first = path + QStringLiteral(": ") + reason;
    }
}

// No file can exist under a name that is too long.
bool ReadFailures::isMissing(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}
