#ifndef VORTANE_TOOLS_DATA_POOL_H
#define VORTANE_TOOLS_DATA_POOL_H

#include "tools/lock.h"
#include "tools/vortane_define.h"

namespace VORTANE {
namespace TOOLS {

// Recycles heap objects so that a hot path need not allocate. The pool starts empty
// and keeps at most `depth` idle objects, last in first out, so the most recently
// used object is reused first. It bounds what stays idle, not what exists: objects
// handed out are the caller's until delete_data, and the excess beyond the depth goes
// back to the heap.
template <typename T>
class data_pool {
public:
    typedef T* ptr_t;

    // Size given to a newly made object (T is built from its capacity in bytes).
    static const unsigned int NEW_OBJECT_SIZE = 2048;

    explicit data_pool(int depth)
        : m_arr(new ptr_t[depth > 0 ? depth : 0]),
          m_total_count(0),
          m_ready_count(0),
          m_depth(depth > 0 ? depth : 0) {}

    ~data_pool() {
        for (i32_kq i = 0; i < m_ready_count; ++i)
            delete m_arr[i];
        delete[] m_arr;
    }

    // Never null: an empty pool allocates. A recycled object keeps its old contents,
    // so the caller refills it before use.
    ptr_t new_data() {
        mutex_locker guard(m_lock);
        if (m_ready_count == 0) {
            ptr_t fresh = new T(NEW_OBJECT_SIZE);
            ++m_total_count;
            return fresh;
        }
        return m_arr[--m_ready_count];
    }

    // Never refuses: with the pool full the object is freed.
    void delete_data(ptr_t ptr_node) {
        mutex_locker guard(m_lock);
        if (m_ready_count != m_depth) {
            m_arr[m_ready_count++] = ptr_node;
            return;
        }
        delete ptr_node;  // a null one counts as given back all the same
        --m_total_count;
    }

    // The next idle object, or null when none is idle; unlike new_data it never
    // allocates.
    ptr_t get_idle_data() {
        mutex_locker guard(m_lock);
        if (m_ready_count == 0)
            return nullptr;
        return m_arr[--m_ready_count];
    }

    i32_kq get_total_count() {
        mutex_locker guard(m_lock);
        return m_total_count;
    }
    i32_kq get_ready_count() {
        mutex_locker guard(m_lock);
        return m_ready_count;
    }

private:
    data_pool(const data_pool&);
    data_pool& operator=(const data_pool&);

    ptr_t* m_arr;
    mutex_lock m_lock;
    i32_kq m_total_count;
    i32_kq m_ready_count;
    i32_kq m_depth;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
