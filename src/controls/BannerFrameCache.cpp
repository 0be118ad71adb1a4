#include "controls/BannerFrameCache.h"

#include <algorithm>

namespace velmora {

BannerFrameCache &BannerFrameCache::instance()
{
    static BannerFrameCache cache;
    return cache;
}

std::list<BannerFrameCache::Entry>::iterator BannerFrameCache::entry(const QString &path, int pixelHeight, qreal ratio)
{
    return std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry &entry) {
        return entry.pixelHeight == pixelHeight && entry.ratio == ratio && entry.path == path;
    });
}

std::shared_ptr<const BannerFrameCache::Loop> BannerFrameCache::find(const QString &path, int pixelHeight, qreal ratio)
{
    const auto found = entry(path, pixelHeight, ratio);
    if (found == m_entries.end())
        return nullptr;
    m_entries.splice(m_entries.begin(), m_entries, found);
    return found->loop;
}

std::shared_ptr<const BannerFrameCache::Loop> BannerFrameCache::insert(const QString &path, int pixelHeight,
                                                                       qreal ratio, Loop loop)
{
    if (const auto found = entry(path, pixelHeight, ratio); found != m_entries.end()) {
        if (found->loop->stamp == loop.stamp) {
            m_entries.splice(m_entries.begin(), m_entries, found);
            return found->loop;
        }
        m_bytes -= found->loop->bytes;
        m_entries.erase(found);
    }
    auto kept = std::make_shared<const Loop>(std::move(loop));
    if (kept->bytes > kBytes)
        return kept;
    m_entries.push_front({ path, pixelHeight, ratio, kept });
    m_bytes += kept->bytes;
    while (m_bytes > kBytes) {
        m_bytes -= m_entries.back().loop->bytes;
        m_entries.pop_back();
    }
    return kept;
}

void BannerFrameCache::clear()
{
    m_entries.clear();
    m_bytes = 0;
}

} // namespace velmora
