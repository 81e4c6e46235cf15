#ifndef VORTANE_TRANSPORT_RECV_PATH_H
#define VORTANE_TRANSPORT_RECV_PATH_H

#include <atomic>
#include <cstddef>
#include <mutex>

#include "tools/data_pool.h"
#include "tools/stream_buffer.h"
#include "transport/socket_param.h"

// The bytes of one read. The reader reads into a chunk straight from the socket, and
// the receive queue links chunks through them, so that nothing is allocated per read
// once the pool has its chunks.
class recv_chunk {
public:
    static const size_t CAPACITY = 8192;

    // The pool makes its objects from a size; a chunk's capacity is fixed.
    explicit recv_chunk(unsigned int /*size*/) : m_next(nullptr), m_len(0) {}
    ~recv_chunk();
    recv_chunk(const recv_chunk&) = delete;
    recv_chunk& operator=(const recv_chunk&) = delete;

    char* data() { return m_data; }
    const char* data() const { return m_data; }
    size_t len() const { return m_len; }
    // The first len bytes are the chunk's content. Under AddressSanitizer the rest of
    // the chunk is poisoned, so that a reader running past the content is caught.
    void set_len(size_t len);
    // Empty, with the whole capacity writable.
    void reset();

    recv_chunk* m_next;

private:
    size_t m_len;
    char m_data[CAPACITY];
};

// The receive side of a connection, between a reader and the user, without socket or
// threads. The reader (the event thread) fills chunks from the pool and queues them;
// the consumer (the receive worker) takes the whole queue under one lock and offers
// the bytes to the user: always one run from the first byte not consumed, again after
// every offer that consumed something, until an offer consumes nothing or nothing is
// left (EVENT_RECEIVE, the user answering with set_proc_len).
//
// Bytes are offered where they lie in their chunk. Only a tail that the user leaves,
// such as a message cut by the read, is copied into the hold buffer and offered again
// with what comes next. A user that tells how long the unit at the head of that tail
// is (set_need_len) has the next chunk's bytes joined to the tail only up to that
// length, and the rest offered where it lies; without that, the whole chunk is joined.
//
// One reader and one consumer at a time; push and the queue's count from any thread.
class recv_path {
public:
    // Chunks kept idle for reuse; after a burst the rest go back to the heap.
    static const int POOL_DEPTH = 64;

    // What a drain or feed came to, as bits.
    enum : unsigned {
        TAKEN_UP = 0,
        // may_go_on said no: the bytes not offered stay, queued or held, for later.
        STOPPED = 1,
        // The hold buffer could not keep a tail (memory): the stream has a hole.
        HOLD_FAILED = 2,
        // The user said it consumed more than it was offered; it got what there was.
        OVERCLAIMED = 4,
    };

    // What the consumer asks of its owner. Every member may be null.
    struct control {
        // False: end the drain now (a stop or pause is pending). Asked before every offer.
        bool (*may_go_on)(void* param);
        // A chunk has been taken up, and `queued` chunks are still in the queue.
        void (*taken)(void* param, size_t queued);
        // Keeps bytes in the hold buffer; false when memory fails. Null: push_data.
        bool (*hold)(void* param, VORTANE::TOOLS::stream_buffer& buffer, const char* data,
                     size_t len);
        void* param;
    };

    explicit recv_path(unsigned int hold_size);
    ~recv_path();
    recv_path(const recv_path&) = delete;
    recv_path& operator=(const recv_path&) = delete;

    // Reader's side. An empty chunk from the pool, or null when memory fails.
    recv_chunk* new_chunk();
    // A chunk that was not queued, back to the pool.
    void free_chunk(recv_chunk* chunk);
    // Queues a filled chunk; true when the queue was empty, so that the consumer may
    // need a wake-up.
    bool push(recv_chunk* chunk);
    // Queues n filled chunks, in order, under one lock; true as push.
    bool push(recv_chunk* const* chunks, int n);
    // Chunks queued and not yet taken up: the memory they hold, whatever they carry,
    // is what a bound on the queue must count.
    size_t queued_chunks() const { return m_queued_chunks.load(); }

    // Consumer's side. Takes up every chunk queued, and those queued meanwhile, until
    // the queue is empty or `ctl` says stop.
    unsigned drain(socket_event_callback fun, void* caller, const control& ctl);
    // Drops every chunk queued without offering it.
    void discard();
    // Offers bytes from memory as the consumer offers a chunk's (no queue, no pool).
    unsigned feed(const char* data, size_t len, socket_event_callback fun, void* caller,
                  const control* ctl = nullptr);
    // Bytes of the hold buffer: left by the user, waiting for more.
    size_t held() const { return m_hold_buf.get_data_len(); }
    // Drops what is queued and what is held: a new connection starts afresh. Only
    // while nothing drains.
    void clear();

    int idle_chunks() { return m_pool.get_ready_count(); }
    // Chunks that exist: idle in the pool, queued, or in the reader's or consumer's hands.
    int made_chunks() { return m_pool.get_total_count(); }
    int live_chunks() { return m_pool.get_total_count(); }

private:
    struct offer_context;

    recv_chunk* take_all();
    void put_back(recv_chunk* list);
    void release(recv_chunk* chunk, const control* ctl);
    void take_up(const char* data, size_t len, offer_context& ctx);
    // Offers data and what follows it as runs, until one consumes nothing or all is
    // consumed; the bytes consumed.
    // One offer of len bytes at run; what the user consumed, cut to what it was offered.
    unsigned int offer_once(const char* run, size_t len, offer_context& ctx);
    size_t offer_run(const char* data, size_t len, offer_context& ctx);
    void offer_held(offer_context& ctx);
    bool keep(const char* data, size_t len, offer_context& ctx);

    VORTANE::TOOLS::data_pool<recv_chunk> m_pool;
    std::mutex m_queue_lock;
    recv_chunk* m_head;
    recv_chunk* m_tail;
    std::atomic<size_t> m_queued_chunks;
    // The consumer's alone.
    VORTANE::TOOLS::stream_buffer m_hold_buf;
    // What the user said the unit at the head of the hold buffer needs (0: unknown).
    size_t m_need;
};

#endif
