#ifndef VORTANE_TOOLS_DATA_QUEUE_H
#define VORTANE_TOOLS_DATA_QUEUE_H

#include <list>

#include "tools/lock.h"
#include "tools/tool_exception.h"

namespace VORTANE {
namespace TOOLS {

// Locked FIFO between threads. Each operation takes the lock for itself only, so a
// consumer's empty / get_front_node / pop_front_node sequence is sound for exactly one
// consumer; any number of threads may push. The queue holds the elements, not what
// they point at: whoever empties it recycles or frees the pointed-at objects.
template <typename T>
class data_queue {
public:
    typedef std::list<T> data_queue_type;
    typedef typename data_queue_type::iterator iterator;
    typedef typename data_queue_type::const_iterator const_iterator;
    // Visitors return false to stop the walk.
    typedef bool (*forearch_queue_fun)(T& node, void* param);
    typedef bool (*forearch_queue_fun_const)(const T& node, void* param);

    data_queue() : m_item_count(0) {}

    bool empty() {
        mutex_locker guard(m_list_lock);
        return m_list_node.empty();
    }

    int size() {
        mutex_locker guard(m_list_lock);
        return m_item_count;
    }

    void push_node(T node) {
        mutex_locker guard(m_list_lock);
        m_list_node.push_back(node);
        ++m_item_count;
    }

    // The element stays queued; the reference is good until it is popped.
    T& get_front_node() {
        mutex_locker guard(m_list_lock);
        if (m_list_node.empty())
            throw bad_str_key("data queue empty ");
        return m_list_node.front();
    }

    void pop_front_node() {
        mutex_locker guard(m_list_lock);
        if (m_list_node.empty())
            return;
        m_list_node.pop_front();
        --m_item_count;
    }

    // Takes the front element out and returns it, as one locked step.
    T jump_front_node() {
        mutex_locker guard(m_list_lock);
        if (m_list_node.empty())
            throw bad_str_key("data queue empty ");
        T node = m_list_node.front();
        m_list_node.pop_front();
        --m_item_count;
        return node;
    }

    // Visits the elements front first under the lock; the visitor must not touch
    // the queue itself. Returns the number of elements visited.
    int forearch_iterator(forearch_queue_fun fun, void* param) {
        return walk<iterator>(m_list_node.begin(), m_list_node.end(), fun, param);
    }
    int forearch_iterator(forearch_queue_fun_const fun, void* param) {
        return walk<const_iterator>(m_list_node.cbegin(), m_list_node.cend(), fun, param);
    }

private:
    data_queue(const data_queue&);
    data_queue& operator=(const data_queue&);

    template <typename It, typename Fun>
    int walk(It first, It last, Fun fun, void* param) {
        mutex_locker guard(m_list_lock);
        int visited = 0;
        if (fun == nullptr)
            return visited;
        for (; first != last; ++first) {
            ++visited;
            if (!fun(*first, param))
                break;
        }
        return visited;
    }

    mutex_lock m_list_lock;
    data_queue_type m_list_node;
    int m_item_count;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
