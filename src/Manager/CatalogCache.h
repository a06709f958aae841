// CatalogCache.h - what a device's description says of its features, kept as long as the device is the same: reading it
// takes a network camera many transfers. Any thread.
#ifndef OX3D_CATALOG_CACHE_H
#define OX3D_CATALOG_CACHE_H

#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "base/Mutex.h"
#include "src/Manager/FeatureCatalog.h"

class CCatalogCache {
public:
    using Catalog = std::shared_ptr<const std::vector<CatalogFeature>>;

    // Null: it has to be read, and goes into Keep() with the ticket.
    Catalog Get(uint64_t* ticket) const {
        const ox3d::CLock lock(m_mutex);
        *ticket = m_clears;
        return m_catalog;
    }
    // Nothing when the cache was cleared while it was read.
    void Keep(Catalog catalog, uint64_t ticket) {
        const ox3d::CLock lock(m_mutex);
        if (ticket == m_clears) {
            m_catalog = std::move(catalog);
        }
    }
    void Clear() noexcept {
        const ox3d::CLock lock(m_mutex);
        ++m_clears;
        m_catalog = nullptr;
    }
    // In a forked child: free again.
    void Renew() noexcept OX_NO_THREAD_SAFETY_ANALYSIS { ::new (&m_mutex) ox3d::CMutex; }

private:
    mutable ox3d::CMutex m_mutex;
    uint64_t m_clears OX_GUARDED_BY(m_mutex) = 0;
    Catalog m_catalog OX_GUARDED_BY(m_mutex) = nullptr;
};

#endif
