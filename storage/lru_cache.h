#pragma once
// A least-recently-used map with a count limit and an optional cost limit (bytes, say). Not
// thread-safe: owners that are shared between threads hold their own lock around it.
#include <QtGlobal>

#include <functional>
#include <limits>
#include <list>
#include <optional>
#include <unordered_map>
#include <utility>

namespace velora {

template <typename Key, typename Value, typename Hash = std::hash<Key>>
class LruCache {
public:
    static constexpr qsizetype unlimited = std::numeric_limits<qsizetype>::max();

    explicit LruCache(qsizetype countLimit, qsizetype costLimit = unlimited)
        : m_countLimit(countLimit), m_costLimit(costLimit)
    {
    }

    // The value, now the most recently used; nothing when absent.
    std::optional<Value> get(const Key& key)
    {
        const auto it = m_index.find(key);
        if (it == m_index.end()) return std::nullopt;
        m_order.splice(m_order.begin(), m_order, it->second);
        return it->second->value;
    }

    bool contains(const Key& key) const { return m_index.find(key) != m_index.end(); }

    // Adds or replaces `key` as the most recently used, then drops the least recently used while
    // over a limit. The newest entry stays even when it alone passes the cost limit: the caller is
    // about to use it.
    void insert(const Key& key, Value value, qsizetype cost = 0)
    {
        const auto it = m_index.find(key);
        if (it != m_index.end()) {
            m_cost += cost - it->second->cost;
            it->second->value = std::move(value);
            it->second->cost = cost;
            m_order.splice(m_order.begin(), m_order, it->second);
        } else {
            m_order.push_front(Entry{key, std::move(value), cost});
            m_index.emplace(key, m_order.begin());
            m_cost += cost;
        }
        trim();
    }

    qsizetype costLimit() const { return m_costLimit; }
    void setCostLimit(qsizetype costLimit)
    {
        m_costLimit = costLimit;
        trim();
    }

    int size() const { return static_cast<int>(m_index.size()); }
    qsizetype cost() const { return m_cost; }

    void clear()
    {
        m_index.clear();
        m_order.clear();
        m_cost = 0;
    }

private:
    struct Entry {
        Key key;
        Value value;
        qsizetype cost;
    };

    void trim()
    {
        while ((qsizetype(m_order.size()) > m_countLimit || m_cost > m_costLimit) && m_order.size() > 1) {
            m_cost -= m_order.back().cost;
            m_index.erase(m_order.back().key);
            m_order.pop_back();
        }
    }

    std::list<Entry> m_order; // newest first
    std::unordered_map<Key, typename std::list<Entry>::iterator, Hash> m_index;
    qsizetype m_countLimit;
    qsizetype m_costLimit;
    qsizetype m_cost = 0;
};

} // namespace velora
