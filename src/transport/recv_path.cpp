#include "transport/recv_path.h"

#include <climits>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define ZUL_POISON_CHUNKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZUL_POISON_CHUNKS 1
#endif
#endif

#ifdef ZUL_POISON_CHUNKS
#include <sanitizer/asan_interface.h>
#endif

using VORTANE::TOOLS::stream_buffer;

recv_chunk::~recv_chunk() {
#ifdef ZUL_POISON_CHUNKS
    ASAN_UNPOISON_MEMORY_REGION(m_data, CAPACITY);
#endif
}

void recv_chunk::set_len(size_t len) {
    m_len = len;
#ifdef ZUL_POISON_CHUNKS
    ASAN_POISON_MEMORY_REGION(m_data + len, CAPACITY - len);
#endif
}

void recv_chunk::reset() {
    m_next = nullptr;
    m_len = 0;
#ifdef ZUL_POISON_CHUNKS
    ASAN_UNPOISON_MEMORY_REGION(m_data, CAPACITY);
#endif
}

// One drain or feed: the user and the owner's control.
struct recv_path::offer_context {
    socket_event_callback fun;
    void* caller;
    const control* ctl;
    unsigned result;

    bool may_go_on() const {
        return ctl == nullptr || ctl->may_go_on == nullptr || ctl->may_go_on(ctl->param);
    }
};

recv_path::recv_path(unsigned int hold_size)
    : m_pool(POOL_DEPTH),
      m_head(nullptr),
      m_tail(nullptr),
      m_queued_chunks(0),
      m_hold_buf(hold_size),
      m_need(0) {}

recv_path::~recv_path() {
    discard();
}

recv_chunk* recv_path::new_chunk() {
    recv_chunk* chunk = nullptr;
    try {
        chunk = m_pool.new_data();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    chunk->reset();
    return chunk;
}

void recv_path::free_chunk(recv_chunk* chunk) {
    if (chunk != nullptr)
        m_pool.delete_data(chunk);
}

bool recv_path::push(recv_chunk* chunk) {
    return push(&chunk, 1);
}

bool recv_path::push(recv_chunk* const* chunks, int n) {
    if (n <= 0)
        return false;
    for (int i = 0; i < n; ++i)
        chunks[i]->m_next = i + 1 < n ? chunks[i + 1] : nullptr;
    // Counted first: the consumer may take the chunks up before this returns.
    m_queued_chunks.fetch_add(static_cast<size_t>(n));
    std::lock_guard<std::mutex> guard(m_queue_lock);
    const bool was_empty = m_head == nullptr;
    if (was_empty)
        m_head = chunks[0];
    else
        m_tail->m_next = chunks[0];
    m_tail = chunks[n - 1];
    return was_empty;
}

recv_chunk* recv_path::take_all() {
    std::lock_guard<std::mutex> guard(m_queue_lock);
    recv_chunk* list = m_head;
    m_head = m_tail = nullptr;
    return list;
}

void recv_path::put_back(recv_chunk* list) {
    if (list == nullptr)
        return;
    recv_chunk* last = list;
    while (last->m_next != nullptr)
        last = last->m_next;
    std::lock_guard<std::mutex> guard(m_queue_lock);
    last->m_next = m_head;
    m_head = list;
    if (m_tail == nullptr)
        m_tail = last;
}

void recv_path::release(recv_chunk* chunk, const control* ctl) {
    // Back in the pool before it leaves the count: a reader that sees room in the queue
    // finds the chunk idle, and the pool never holds more than the queue's bound.
    m_pool.delete_data(chunk);
    const size_t queued = m_queued_chunks.fetch_sub(1) - 1;
    if (ctl != nullptr && ctl->taken != nullptr)
        ctl->taken(ctl->param, queued);
}

unsigned recv_path::drain(socket_event_callback fun, void* caller, const control& ctl) {
    offer_context ctx = {fun, caller, &ctl, TAKEN_UP};
    while (recv_chunk* list = take_all()) {
        while (list != nullptr) {
            if (!ctx.may_go_on()) {
                put_back(list);
                return ctx.result | STOPPED;
            }
            recv_chunk* chunk = list;
            list = list->m_next;
            take_up(chunk->data(), chunk->len(), ctx);
            release(chunk, &ctl);
            if ((ctx.result & (STOPPED | HOLD_FAILED)) != 0) {
                put_back(list);
                return ctx.result;
            }
        }
    }
    return ctx.result;
}

void recv_path::discard() {
    recv_chunk* list = take_all();
    while (list != nullptr) {
        recv_chunk* chunk = list;
        list = list->m_next;
        release(chunk, nullptr);
    }
}

unsigned recv_path::feed(const char* data, size_t len, socket_event_callback fun, void* caller,
                         const control* ctl) {
    offer_context ctx = {fun, caller, ctl, TAKEN_UP};
    take_up(data, len, ctx);
    return ctx.result;
}

void recv_path::clear() {
    discard();
    m_queued_chunks.store(0);
    m_hold_buf.clear();
    m_need = 0;
}

// Departure from copying every chunk into the hold buffer: bytes are offered where
// they lie, and only a tail the user leaves is copied. The user sees the same runs
// (all bytes not consumed, from the first one), except that a tail whose length it
// told is offered whole as soon as the bytes for it are there, and what follows is
// offered next, in place.
void recv_path::take_up(const char* data, size_t len, offer_context& ctx) {
    if (len == 0)
        return;
    size_t at = 0;
    const size_t held = m_hold_buf.get_data_len();
    if (held > 0) {
        // Join only what completes the unit at the head of the tail, when the user told
        // its length and these bytes complete it.
        const bool completes = m_need > held && m_need - held < len;
        at = completes ? m_need - held : len;
        if (!keep(data, at, ctx))
            return;
        offer_held(ctx);
        if (at == len)
            return;
        if ((ctx.result & STOPPED) != 0 || m_hold_buf.get_data_len() > 0) {
            // Stopped, or the user left bytes of the joined run after all: the rest
            // waits behind them, as it would have without the hint.
            if (keep(data + at, len - at, ctx) && (ctx.result & STOPPED) == 0)
                offer_held(ctx);
            return;
        }
    }
    const size_t taken = offer_run(data + at, len - at, ctx);
    if (at + taken < len)
        keep(data + at + taken, len - at - taken, ctx);
}

unsigned int recv_path::offer_once(const char* run, size_t len, offer_context& ctx) {
    // A run is offered with an unsigned int size; a longer one goes in parts.
    const unsigned int size = len < UINT_MAX ? static_cast<unsigned int>(len) : UINT_MAX;
    socket_param record(EVENT_RECEIVE, 0, &run, size, 0);
    ctx.fun(record, ctx.caller);
    unsigned int consumed = record.get_proc_len();
    if (consumed > size) {
        ctx.result |= OVERCLAIMED;
        consumed = size;
    }
    m_need = record.get_need_len();
    return consumed;
}

size_t recv_path::offer_run(const char* data, size_t len, offer_context& ctx) {
    size_t taken = 0;
    while (taken < len) {
        if (!ctx.may_go_on()) {
            ctx.result |= STOPPED;
            m_need = 0;
            return taken;
        }
        const unsigned int consumed = offer_once(data + taken, len - taken, ctx);
        // Nothing consumed: the user waits for more bytes.
        if (consumed == 0)
            break;
        taken += consumed;
    }
    return taken;
}

void recv_path::offer_held(offer_context& ctx) {
    while (m_hold_buf.get_data_len() > 0) {
        if (!ctx.may_go_on()) {
            ctx.result |= STOPPED;
            return;
        }
        const unsigned int consumed =
            offer_once(m_hold_buf.get_data_ptr(), m_hold_buf.get_data_len(), ctx);
        if (consumed == 0)
            break;
        m_hold_buf.pop_data(consumed);
    }
}

bool recv_path::keep(const char* data, size_t len, offer_context& ctx) {
    const control* ctl = ctx.ctl;
    const bool kept = ctl != nullptr && ctl->hold != nullptr
                          ? ctl->hold(ctl->param, m_hold_buf, data, len)
                          : m_hold_buf.push_data(data, len);
    if (!kept)
        ctx.result |= HOLD_FAILED;
    return kept;
}
