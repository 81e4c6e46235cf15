#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

#include "tools/lock.h"

using namespace VORTANE::TOOLS;

namespace {

// True when another thread can take the lock right now.
template <typename L>
bool free_for_other_thread(L& l) {
    bool got = false;
    std::thread t([&] {
        got = l.try_lock();
        if (got) l.unlock();
    });
    t.join();
    return got;
}

}  // namespace

TEST(MutexLock, RecursiveForTheHolderExclusiveForOthers) {
    mutex_lock m;
    mutex_locker outer(m);
    {
        mutex_locker inner(&m);  // same thread: must not block
        EXPECT_TRUE(m.try_lock());
        m.unlock();
    }
    EXPECT_FALSE(free_for_other_thread(m));
    outer.unlock();
    EXPECT_TRUE(free_for_other_thread(m));
}

TEST(MutexLocker, UnlockIsFinalAndHappensOnce) {
    mutex_lock m;
    m.lock();  // one extra level held by the test itself
    {
        mutex_locker l(m);
        l.unlock();
        l.unlock();  // second unlock must not release the test's own level
    }                // nor may the destructor
    EXPECT_FALSE(free_for_other_thread(m));
    m.unlock();
    EXPECT_TRUE(free_for_other_thread(m));
}

TEST(MutexLocker, NullPointerHoldsNothing) {
    mutex_locker l(static_cast<mutex_lock*>(nullptr));
    l.unlock();
    SUCCEED();
}

TEST(SpinLock, TryLockAndLocker) {
    spin_lock s;
    {
        spin_locker l(s);
        EXPECT_FALSE(free_for_other_thread(s));
    }
    EXPECT_TRUE(free_for_other_thread(s));
    spin_locker once(&s);
    once.unlock();
    once.unlock();
    EXPECT_TRUE(free_for_other_thread(s));
}

TEST(ReadWriteLock, ReadersShareWritersExclude) {
    read_write_lock rw;
    {
        read_locker r(rw);
        bool reader_ok = false, writer_ok = true;
        std::thread t([&] {
            reader_ok = rw.try_read_lock();
            if (reader_ok) rw.read_unlock();
            writer_ok = rw.try_write_lock();
            if (writer_ok) rw.write_unlock();
        });
        t.join();
        EXPECT_TRUE(reader_ok);
        EXPECT_FALSE(writer_ok);
    }
    {
        write_locker w(&rw);
        bool reader_ok = true;
        std::thread t([&] {
            reader_ok = rw.try_read_lock();
            if (reader_ok) rw.read_unlock();
        });
        t.join();
        EXPECT_FALSE(reader_ok);
    }
    EXPECT_TRUE(rw.try_write_lock());
    rw.write_unlock();
}

TEST(NullLock, AlwaysTakesAndTemplateLockerCountsOnce) {
    null_lock n;
    n.lock();
    EXPECT_TRUE(n.try_lock());
    EXPECT_TRUE(n.try_lock());

    struct counting {
        int locks = 0, unlocks = 0;
        void lock() { ++locks; }
        void unlock() { ++unlocks; }
    } c;
    {
        template_mutex_locker<counting> l(c);
        l.unlock();
    }
    EXPECT_EQ(1, c.locks);
    EXPECT_EQ(1, c.unlocks);
}

TEST(MutexLock, GuardsACounterAcrossThreads) {
    mutex_lock m;
    long counter = 0;
    std::vector<std::thread> ts;
    for (int k = 0; k < 4; ++k) {
        ts.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                mutex_locker l(m);
                ++counter;
            }
        });
    }
    for (auto& t : ts) t.join();
    EXPECT_EQ(80000, counter);
}

// Lockers own a held lock: a copy would unlock it twice.
static_assert(!std::is_copy_constructible<mutex_locker>::value, "mutex_locker must not copy");
static_assert(!std::is_copy_assignable<mutex_locker>::value, "mutex_locker must not copy");
static_assert(!std::is_copy_constructible<spin_locker>::value, "spin_locker must not copy");
static_assert(!std::is_copy_constructible<template_mutex_locker<null_lock>>::value, "no copy");
