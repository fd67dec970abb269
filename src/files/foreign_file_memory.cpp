#include "files/foreign_file_memory.h"

namespace {

thread_local ForeignFileMemory *memoryOfThread = nullptr;

} // namespace

ForeignFileMemory::ForeignFileMemory()
    : m_outer(memoryOfThread)
{
    memoryOfThread = this;
}

ForeignFileMemory::~ForeignFileMemory() { memoryOfThread = m_outer; }

ForeignFileMemory *ForeignFileMemory::ofThread() { return memoryOfThread; }

std::optional<ForeignFile> ForeignFileMemory::recall(const QString &path, qint64 largest) const
{
    if (m_path.isNull() || m_path != path || m_largest != largest)
        return {};
    return m_file;
}

void ForeignFileMemory::remember(const QString &path, qint64 largest, const ForeignFile &file)
{
    m_path = path;
    m_largest = largest;
    m_file = file;
}
