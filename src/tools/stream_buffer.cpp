#include "tools/stream_buffer.h"

#include <cstdlib>
#include <cstring>

namespace VORTANE {
namespace TOOLS {

stream_buffer::stream_buffer(unsigned int size)
    : m_ptr_data(nullptr), m_begin_pos(0), m_end_pos(0), m_buf_len(0) {
    m_ptr_data = static_cast<char*>(malloc(size));
    if (m_ptr_data != nullptr)
        m_buf_len = size;
}

stream_buffer::~stream_buffer() {
    free(m_ptr_data);
    m_ptr_data = nullptr;
    m_begin_pos = m_end_pos = m_buf_len = 0;
}

bool stream_buffer::reset_data(const char* pData, size_t nLen) {
    clear();
    return push_data(pData, nLen);
}

bool stream_buffer::push_data(const char* pData, size_t nLen) {
    mutex_locker guard(m_locker);
    const size_t data_len = m_end_pos - m_begin_pos;
    if (m_buf_len - m_end_pos >= nLen) {
        // An empty append always ends here, also on a buffer without a block.
        if (nLen > 0)
            mem_copy(m_ptr_data + m_end_pos, pData, nLen);
        m_end_pos += nLen;
        return true;
    }
    if (m_buf_len - data_len >= nLen) {
        compact();
    } else {
        size_t new_len = m_buf_len * 2;
        if (data_len + nLen > new_len)
            new_len = data_len + nLen;
        if (!grow(new_len))
            return false;
    }
    mem_copy(m_ptr_data + m_end_pos, pData, nLen);
    m_end_pos += nLen;
    return true;
}

size_t stream_buffer::get_reserve_len() {
    mutex_locker guard(m_locker);
    if (m_end_pos != m_buf_len)
        return m_buf_len - m_end_pos;
    if (m_begin_pos != 0) {
        compact();
        return m_buf_len - m_end_pos;
    }
    // Full of unread bytes: double the block. A block of 0 cannot be doubled, and
    // a failed allocation leaves the buffer as it was, with no room to offer.
    if (m_buf_len == 0 || !grow(m_buf_len * 2))
        return 0;
    return m_buf_len - m_end_pos;
}

size_t stream_buffer::fill_reserve_len(size_t len) {
    mutex_locker guard(m_locker);
    m_end_pos += len;
    return m_end_pos;
}

bool stream_buffer::pop_data(size_t nLen) {
    mutex_locker guard(m_locker);
    m_begin_pos += nLen;
    if (m_begin_pos == m_end_pos)
        m_begin_pos = m_end_pos = 0;
    return true;
}

bool stream_buffer::reset_data_buf() {
    mutex_locker guard(m_locker);
    compact();
    return true;
}

void stream_buffer::clear() {
    mutex_locker guard(m_locker);
    m_begin_pos = m_end_pos = 0;
}

void stream_buffer::compact() {
    const size_t data_len = m_end_pos - m_begin_pos;
    if (m_begin_pos != 0 && data_len > 0)
        mem_copy(m_ptr_data, m_ptr_data + m_begin_pos, data_len);
    m_begin_pos = 0;
    m_end_pos = data_len;
}

bool stream_buffer::grow(size_t new_len) {
    char* block = static_cast<char*>(malloc(new_len));
    if (block == nullptr)
        return false;
    const size_t data_len = m_end_pos - m_begin_pos;
    if (data_len > 0)
        mem_copy(block, m_ptr_data + m_begin_pos, data_len);
    free(m_ptr_data);
    m_ptr_data = block;
    m_buf_len = new_len;
    m_begin_pos = 0;
    m_end_pos = data_len;
    return true;
}

void stream_buffer::mem_copy(char* pDest, const char* pSrc, size_t nLen) {
    // Inside the block the destination always lies before the source; memmove
    // handles that overlap.
    memmove(pDest, pSrc, nLen);
}

}  // namespace TOOLS
}  // namespace VORTANE
