#ifndef VORTANE_TOOLS_TEMPLATE_MAP_INT_H
#define VORTANE_TOOLS_TEMPLATE_MAP_INT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/lock.h"

namespace VORTANE {
namespace TOOLS {

// Hash table with signed 64-bit keys and separate chaining. The bucket count comes
// from a fixed table and grows so that there is at most one entry per bucket. L is
// the lock policy: with null_lock the map is not thread-safe. size() and clear()
// take no lock.
template <typename T, typename L>
class map_int {
public:
    typedef long long IntKey;

    struct Assoc {
        IntKey m_key;
        T m_data;
        Assoc* m_pNext;
    };
    typedef Assoc* LPAssoc;

    explicit map_int(int size)
        : m_hash_table(nullptr),
          m_hash_table_size(0),
          m_count(0),
          m_autoIncr(true),
          m_max_duplicate_count(0) {
        template_mutex_locker<L> locker(m_lock);
        init_map(size < 0 ? 0 : static_cast<size_t>(size), true);
    }

    virtual ~map_int() {
        template_mutex_locker<L> locker(m_lock);
        destory();
    }

    // The entries are owned one by one; a shallow copy would free them twice.
    map_int(const map_int&) = delete;
    map_int& operator=(const map_int&) = delete;

    // Inserts, or replaces the value of an existing key (its place in the chain stays).
    bool set(IntKey key, const T& value) {
        template_mutex_locker<L> locker(m_lock);
        LPAssoc& head = m_hash_table[bucket_of(key, m_hash_table_size)];
        if (head == nullptr) {
            head = new Assoc{key, value, nullptr};
            ++m_count;
        } else {
            size_t visited = 0;
            LPAssoc tail = nullptr;
            for (LPAssoc p = head; p != nullptr; p = p->m_pNext) {
                ++visited;
                if (p->m_key == key) {
                    p->m_data = value;
                    return true;
                }
                tail = p;
            }
            if (visited > m_max_duplicate_count)
                m_max_duplicate_count = visited;
            tail->m_pNext = new Assoc{key, value, nullptr};
            ++m_count;
        }
        if (m_count > m_hash_table_size && m_autoIncr)
            rebuild(map_int_adjust_size(m_count));
        return true;
    }

    // On a miss `value` is left as it was.
    bool find(IntKey key, T& value) {
        template_mutex_locker<L> locker(m_lock);
        LPAssoc p = find_assoc(key);
        if (p == nullptr)
            return false;
        value = p->m_data;
        return true;
    }

    bool contains(IntKey key) {
        template_mutex_locker<L> locker(m_lock);
        return find_assoc(key) != nullptr;
    }

    // Unlinks and destroys the entry of `key`, if there is one.
    void remove_key(IntKey key) {
        template_mutex_locker<L> locker(m_lock);
        LPAssoc* link = &m_hash_table[bucket_of(key, m_hash_table_size)];
        while (*link != nullptr && (*link)->m_key != key)
            link = &(*link)->m_pNext;
        if (*link == nullptr)
            return;
        LPAssoc found = *link;
        *link = found->m_pNext;
        delete found;
        --m_count;
    }

    size_t size() { return m_count; }

    // The longest chain that an insertion has walked.
    size_t max_duplicate_count() {
        template_mutex_locker<L> locker(m_lock);
        return m_max_duplicate_count;
    }

    // Rebuilds with exactly `size` buckets (at least one), moving the entries; entries
    // that shared a chain keep their order.
    bool reset_table_size(size_t size) {
        template_mutex_locker<L> locker(m_lock);
        rebuild(size);
        return true;
    }

    // Destroys every entry; the buckets and m_max_duplicate_count stay.
    void clear() {
        for (size_t i = 0; i < m_hash_table_size; ++i) {
            LPAssoc p = m_hash_table[i];
            while (p != nullptr) {
                LPAssoc next = p->m_pNext;
                delete p;
                p = next;
            }
            m_hash_table[i] = nullptr;
        }
        m_count = 0;
    }

    // The first bucket count of the table not below `size`, or the last one.
    size_t map_int_adjust_size(size_t size) {
        static const unsigned int str_prime_list[28] = {
            53u,        97u,        193u,       389u,       769u,        1543u,       3079u,
            6151u,      12289u,     24593u,     49157u,     98317u,      196613u,     393241u,
            786443u,    1572869u,   3145739u,   6291469u,   12582917u,   25165842u,   50331553u,
            100663319u, 201326611u, 402653189u, 805306457u, 1610612741u, 3221225473u, 4294967291u};
        for (unsigned int prime : str_prime_list) {
            if (prime >= size)
                return prime;
        }
        return str_prime_list[27];
    }

    // A non-negative key is its own hash. A negative one hashes by the absolute value
    // of its low 32 bits read as a signed 32-bit number. That absolute value is taken
    // in 64 bits, so that low bits of 0x80000000 give 2^31 and not an overflow.
    size_t hash_key(IntKey key) {
        if (key >= 0)
            return static_cast<size_t>(key);
        long long low = static_cast<int32_t>(static_cast<uint32_t>(key));
        return static_cast<size_t>(low < 0 ? -low : low);
    }

    // Frees everything; the map then has no buckets and may only be destroyed.
    void destory() {
        clear();
        delete[] m_hash_table;
        m_hash_table = nullptr;
        m_hash_table_size = 0;
    }

protected:
    // Called only from the constructor: on a map that holds entries it would drop
    // the chains without destroying them.
    bool init_map(size_t size, bool autoIncr) {
        m_hash_table_size = map_int_adjust_size(size);
        delete[] m_hash_table;
        m_hash_table = new LPAssoc[m_hash_table_size]();
        m_max_duplicate_count = 0;
        m_autoIncr = autoIncr;
        return true;
    }

    LPAssoc* m_hash_table;
    size_t m_hash_table_size;
    size_t m_count;
    bool m_autoIncr;
    size_t m_max_duplicate_count;
    L m_lock;

private:
    // Growth without taking the lock again, so that set() works with a lock that
    // isn't recursive.
    void rebuild(size_t size) {
        if (size == 0)
            size = 1;  // a modulo by zero buckets has no meaning
        std::vector<LPAssoc> tails(size, nullptr);
        LPAssoc* table = new LPAssoc[size]();
        for (size_t i = 0; i < m_hash_table_size; ++i) {
            LPAssoc p = m_hash_table[i];
            while (p != nullptr) {
                LPAssoc next = p->m_pNext;
                p->m_pNext = nullptr;
                size_t b = bucket_of(p->m_key, size);
                if (tails[b] == nullptr) {
                    table[b] = p;
                } else {
                    tails[b]->m_pNext = p;
                }
                tails[b] = p;
                p = next;
            }
        }
        delete[] m_hash_table;
        m_hash_table = table;
        m_hash_table_size = size;
    }

    size_t bucket_of(IntKey key, size_t buckets) { return hash_key(key) % buckets; }

    LPAssoc find_assoc(IntKey key) {
        for (LPAssoc p = m_hash_table[bucket_of(key, m_hash_table_size)]; p != nullptr;
             p = p->m_pNext) {
            if (p->m_key == key)
                return p;
        }
        return nullptr;
    }
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
