// What the threads of a session share: rows that any of them adds, and pointers that any looks up.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

namespace host {

/// Rows from any thread, in order, taken all at once; those beyond the most are lost.
template <class T>
class journal {
public:
    explicit journal(std::size_t most_rows = SIZE_MAX) : most(most_rows) {}

    void add(T row)
    {
        const std::lock_guard<std::mutex> alone(mutex);
        if (rows.size() < most) rows.push_back(std::move(row));
    }

    std::vector<T> take()
    {
        const std::lock_guard<std::mutex> alone(mutex);
        return std::exchange(rows, {});
    }

private:
    const std::size_t most;
    std::mutex mutex;
    std::vector<T> rows;
};

/// What externals hold pointers to, by that pointer. The main thread adds and removes, while any
/// other looks up without waiting. A look-up brings no order between threads, which would hide
/// that an external forgot its own: whoever knows the pointer must have got it in an orderly way.
template <class T>
class roll {
public:
    roll() = default;
    roll(const roll &) = delete;

    T *find(const void *key) const
    {
        if (!key) return nullptr; // a free entry's
        for (const entry *e = first; e; e = e->next)
            if (e->key.load(std::memory_order_relaxed) == key)
                return e->item.load(std::memory_order_relaxed);
        return nullptr;
    }

    void add(const void *key, T *item)
    {
        if (!vacant) {
            first = new entry{key, item, first.load()}; // for ever: someone may be looking
            return;
        }
        entry *e = first;
        while (e->key.load(std::memory_order_relaxed)) e = e->next;
        e->item.store(item, std::memory_order_relaxed);
        e->key.store(key, std::memory_order_release);
        --vacant;
    }

    void remove(const void *key)
    {
        if (!key) return;
        for (entry *e = first; e; e = e->next)
            if (e->key.load(std::memory_order_relaxed) == key) {
                e->key.store(nullptr, std::memory_order_relaxed);
                ++vacant;
            }
    }

    /// Not while the items are being removed.
    template <class F>
    void each(F act) const
    {
        for (const entry *e = first; e; e = e->next)
            if (e->key.load(std::memory_order_acquire))
                act(*e->item.load(std::memory_order_relaxed));
    }

private:
    struct entry {
        std::atomic<const void *> key;
        std::atomic<T *> item;
        std::atomic<entry *> next;
    };

    std::atomic<entry *> first{nullptr};
    std::size_t vacant = 0; // entries; the main thread's
};

} // namespace host
