#ifndef VORTANE_TOOLS_LINUX_LOCK_H
#define VORTANE_TOOLS_LINUX_LOCK_H

#include <pthread.h>

namespace VORTANE {
namespace TOOLS {

// Recursive POSIX mutex: the holder may lock again and must unlock as often.
class mutex_lock {
public:
    mutex_lock() {
        pthread_mutexattr_t attr;
        pthread_mutexattr_init(&attr);
        pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&m_mutexLock, &attr);
        pthread_mutexattr_destroy(&attr);
    }
    ~mutex_lock() { pthread_mutex_destroy(&m_mutexLock); }
    mutex_lock(const mutex_lock&) = delete;
    mutex_lock& operator=(const mutex_lock&) = delete;

    void lock() { pthread_mutex_lock(&m_mutexLock); }
    void unlock() { pthread_mutex_unlock(&m_mutexLock); }
    bool try_lock() { return pthread_mutex_trylock(&m_mutexLock) == 0; }

private:
    pthread_mutex_t m_mutexLock;
};

// Process-private, non-recursive spin lock.
class spin_lock {
public:
    spin_lock() { pthread_spin_init(&m_spinLock, PTHREAD_PROCESS_PRIVATE); }
    ~spin_lock() { pthread_spin_destroy(&m_spinLock); }
    spin_lock(const spin_lock&) = delete;
    spin_lock& operator=(const spin_lock&) = delete;

    void lock() { pthread_spin_lock(&m_spinLock); }
    void unlock() { pthread_spin_unlock(&m_spinLock); }
    bool try_lock() { return pthread_spin_trylock(&m_spinLock) == 0; }

private:
    pthread_spinlock_t m_spinLock;
};

class read_write_lock {
public:
    read_write_lock() { pthread_rwlock_init(&mt, nullptr); }
    ~read_write_lock() { pthread_rwlock_destroy(&mt); }
    read_write_lock(const read_write_lock&) = delete;
    read_write_lock& operator=(const read_write_lock&) = delete;

    void read_lock() { pthread_rwlock_rdlock(&mt); }
    void write_lock() { pthread_rwlock_wrlock(&mt); }
    void read_unlock() { pthread_rwlock_unlock(&mt); }
    void write_unlock() { pthread_rwlock_unlock(&mt); }
    bool try_read_lock() { return pthread_rwlock_tryrdlock(&mt) == 0; }
    bool try_write_lock() { return pthread_rwlock_trywrlock(&mt) == 0; }

private:
    pthread_rwlock_t mt;
};

// Scoped holder of any lock with lock() and unlock(), locked from construction.
// Releasing is final: once unlock() has run the locker has forgotten its lock and
// its destructor does nothing. A null lock gives a locker that holds nothing.
template <typename T>
class template_mutex_locker {
public:
    explicit template_mutex_locker(T* lock) : m_lock(lock) { this->lock(); }
    explicit template_mutex_locker(T& lock) : m_lock(&lock) { this->lock(); }
    ~template_mutex_locker() { unlock(); }
    template_mutex_locker(const template_mutex_locker&) = delete;
    template_mutex_locker& operator=(const template_mutex_locker&) = delete;
    void unlock() {
        if (m_lock != nullptr) {
            m_lock->unlock();
            m_lock = nullptr;
        }
    }

protected:
    void lock() {
        if (m_lock != nullptr)
            m_lock->lock();
    }

private:
    T* m_lock;
};

class mutex_locker : public template_mutex_locker<mutex_lock> {
public:
    using template_mutex_locker<mutex_lock>::template_mutex_locker;
};

class spin_locker : public template_mutex_locker<spin_lock> {
public:
    using template_mutex_locker<spin_lock>::template_mutex_locker;
};

// Shared and exclusive holders; the lock pointer must not be null.
class read_locker {
public:
    explicit read_locker(read_write_lock* lock) : m_lock(lock) { m_lock->read_lock(); }
    explicit read_locker(read_write_lock& lock) : m_lock(&lock) { m_lock->read_lock(); }
    ~read_locker() { m_lock->read_unlock(); }
    read_locker(const read_locker&) = delete;
    read_locker& operator=(const read_locker&) = delete;

private:
    read_write_lock* m_lock;
};

class write_locker {
public:
    explicit write_locker(read_write_lock* lock) : m_lock(lock) { m_lock->write_lock(); }
    explicit write_locker(read_write_lock& lock) : m_lock(&lock) { m_lock->write_lock(); }
    ~write_locker() { m_lock->write_unlock(); }
    write_locker(const write_locker&) = delete;
    write_locker& operator=(const write_locker&) = delete;

private:
    read_write_lock* m_lock;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
