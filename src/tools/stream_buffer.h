#ifndef VORTANE_TOOLS_STREAM_BUFFER_H
#define VORTANE_TOOLS_STREAM_BUFFER_H

#include <cstddef>

#include "tools/lock.h"

namespace VORTANE {
namespace TOOLS {

// Byte FIFO over one contiguous block: the unread bytes are always one run that a
// protocol reader can parse in place. Appending compacts or grows the block when
// the new bytes don't fit behind the data; capacity never shrinks.
class stream_buffer {
public:
    explicit stream_buffer(unsigned int size);
    ~stream_buffer();

    void lock_stream() { m_locker.lock(); }
    void unlock_stream() { m_locker.unlock(); }

    bool reset_data(const char* pData, size_t nLen);
    bool push_data(const char* pData, size_t nLen);

    const char* get_data_ptr() const { return m_ptr_data + m_begin_pos; }
    char* get_data_ptr() { return m_ptr_data + m_begin_pos; }
    size_t get_data_len() const { return m_end_pos - m_begin_pos; }
    size_t get_data_len() { return m_end_pos - m_begin_pos; }

    // Direct writing: get_reserve_len (may move or replace the block), then
    // get_reserve_ptr, write, then fill_reserve_len.
    char* get_reserve_ptr() { return m_ptr_data + m_end_pos; }
    size_t get_reserve_len();
    size_t fill_reserve_len(size_t len);

    bool pop_data(size_t nLen);
    bool reset_data_buf();
    void clear();

    size_t capacity() const { return m_buf_len; }

private:
    stream_buffer(const stream_buffer&);
    stream_buffer& operator=(const stream_buffer&);

    // Moves the unread bytes to the front of the block (caller holds the lock).
    void compact();
    // Replaces the block by one of new_len bytes holding the unread bytes at its
    // front; false (and nothing changed) when the allocation fails.
    bool grow(size_t new_len);
    void mem_copy(char* pDest, const char* pSrc, size_t nLen);

    mutex_lock m_locker;
    char* m_ptr_data;
    size_t m_begin_pos;
    size_t m_end_pos;
    size_t m_buf_len;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
