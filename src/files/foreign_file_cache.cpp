#include "files/foreign_file_cache.h"

namespace {

thread_local ForeignFileCache *cacheOfThread = nullptr;

} // namespace

ForeignFileCache::ForeignFileCache()
    : m_outer(cacheOfThread)
{
    cacheOfThread = this;
}

ForeignFileCache::~ForeignFileCache() { cacheOfThread = m_outer; }

ForeignFileCache *ForeignFileCache::ofThread() { return cacheOfThread; }

std::optional<ForeignFile> ForeignFileCache::recall(const QString &path, qint64 largest) const
{
    if (m_path.isNull() || m_path != path || m_largest != largest)
        return {};
    return m_file;
}

void ForeignFileCache::remember(const QString &path, qint64 largest, const ForeignFile &file)
{
    m_path = path;
    m_largest = largest;
    m_file = file;
}
