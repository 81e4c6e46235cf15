#ifndef VORTANE_TOOLS_LOCK_H
#define VORTANE_TOOLS_LOCK_H

#include "tools/linux_lock.h"

namespace VORTANE {
namespace TOOLS {

// The lock policy of containers that one thread owns: every operation is free.
class null_lock {
public:
    null_lock() {}
    ~null_lock() {}
    void lock() {}
    void unlock() {}
    bool try_lock() { return true; }
};

// mutex_locker for any type with lock() and unlock().
template <typename T>
class template_mutex_locker {
public:
    explicit template_mutex_locker(T* lock) : m_lock(lock) { this->lock(); }
    explicit template_mutex_locker(T& lock) : m_lock(&lock) { this->lock(); }
    ~template_mutex_locker() { unlock(); }
    void unlock() {
        if (m_lock != nullptr) {
            m_lock->unlock();
            m_lock = nullptr;
        }
    }

protected:
    void lock() {
        if (m_lock != nullptr) m_lock->lock();
    }
    template_mutex_locker(const template_mutex_locker&);
    template_mutex_locker& operator=(const template_mutex_locker&);

private:
    T* m_lock;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
