// The fuzz target's entry, run by the ordinary suite (and so under the sanitizers of
// the suite's builds): over every seed input, and over pseudo-random inputs made of
// whole messages, cut messages, unknown ids and noise.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

// Found through src/ on the include path: the driver lives beside the fuzz target.
#include "../fuzz/message_loop_driver.h"

using namespace zul_fuzz;

namespace {

using Bytes = std::vector<unsigned char>;

// Every message the client reads, with its size in the two server generations.
struct wire_size {
    unsigned short id;
    size_t other_size;
    size_t hv27_size;
};
const wire_size WIRE_SIZES[] = {
    {1063, 112, 112}, {1064, 24, 24},   {1068, 56, 56},   {1069, 16, 16},   {1071, 88, 88},
    {1072, 139, 139}, {1073, 152, 152}, {1074, 144, 144}, {1075, 88, 112},  {1076, 192, 192},
    {1077, 96, 96},   {1078, 128, 128}, {1079, 188, 188}, {1081, 108, 108}, {1082, 1006, 84},
    {1083, 448, 448}, {1088, 200, 200}, {1092, 167, 167}, {1093, 108, 108}, {1095, 248, 248},
    {1098, 144, 144}, {1099, 64, 64},
};
const size_t LARGEST_MESSAGE = 1006;
const size_t LOGON_GENERATION_BYTE = 51;

Bytes read_bytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A fixed seed: the same inputs in every run and on every machine.
class input_maker {
public:
    explicit input_maker(uint32_t seed) : m_rng(seed) {}

    unsigned pick(unsigned n) { return static_cast<unsigned>(m_rng() % n); }
    unsigned char byte() { return static_cast<unsigned char>(m_rng()); }

    // One known message with a random body. A logon answer may change the generation,
    // which the sizes of the messages after it then follow.
    Bytes message(bool* hv27) {
        const wire_size& w = WIRE_SIZES[pick(sizeof(WIRE_SIZES) / sizeof(WIRE_SIZES[0]))];
        Bytes m(*hv27 ? w.hv27_size : w.other_size);
        for (unsigned char& b : m)
            b = byte();
        m[0] = static_cast<unsigned char>(w.id & 0xff);
        m[1] = static_cast<unsigned char>(w.id >> 8);
        if (w.id == 1068) {
            const unsigned char flags[] = {0, 6, byte()};
            m[LOGON_GENERATION_BYTE] = flags[pick(3)];
            *hv27 = m[LOGON_GENERATION_BYTE] == 6;
        }
        return m;
    }

    // Whole messages, then perhaps the head of one more: its length in *tail.
    Bytes messages(bool hv27, size_t* tail) {
        Bytes payload;
        const unsigned count = 1 + pick(6);
        for (unsigned i = 0; i < count; ++i) {
            const Bytes m = message(&hv27);
            payload.insert(payload.end(), m.begin(), m.end());
        }
        *tail = 0;
        if (pick(2) == 0) {
            const Bytes m = message(&hv27);
            *tail = 1 + pick(static_cast<unsigned>(m.size() - 1));
            payload.insert(payload.end(), m.begin(), m.begin() + static_cast<long>(*tail));
        }
        return payload;
    }

    // Anything: known messages, cut ones, unknown and negative ids, lone bytes, noise.
    Bytes noise_input() {
        Bytes input = {byte(), byte()};
        bool hv27 = (input[0] & CONTROL_HV27) != 0;
        const unsigned parts = 1 + pick(5);
        for (unsigned i = 0; i < parts; ++i) {
            Bytes part = message(&hv27);
            switch (pick(4)) {
                case 0:
                    part.resize(1 + pick(static_cast<unsigned>(part.size())));
                    break;
                case 1:
                    part[0] = byte();
                    part[1] = byte();
                    break;
                case 2:
                    part.resize(pick(40));
                    for (unsigned char& b : part)
                        b = byte();
                    break;
                default:
                    break;
            }
            input.insert(input.end(), part.begin(), part.end());
        }
        return input;
    }

private:
    std::mt19937 m_rng;
};

Bytes with_header(feed_mode mode, unsigned char param, bool hv27, bool logger,
                  const Bytes& payload) {
    // Made at its full size and filled in place: grown from a two-byte list, or by
    // push_back, GCC 12 at -O3 warns of out-of-bounds copies and frees that cannot happen.
    Bytes input(2 + payload.size());
    input[0] = static_cast<unsigned char>(mode | (hv27 ? CONTROL_HV27 : 0) |
                                          (logger ? CONTROL_LOGGER : 0));
    input[1] = param;
    std::copy(payload.begin(), payload.end(), input.begin() + 2);
    return input;
}

loop_outcome run(const Bytes& input) {
    return fuzz_one_input(input.data(), input.size());
}

}  // namespace

TEST(ReplayCorpus, EverySeedInputStaysWithinWhatWasOffered) {
    const std::filesystem::path dir = std::filesystem::path(ZUL_SOURCE_DIR) / "fuzz" / "corpus";
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        SCOPED_TRACE(entry.path().filename().string());
        const loop_outcome out = run(read_bytes(entry.path()));
        EXPECT_TRUE(out.consumed_within_offer);
        EXPECT_LT(out.left_over, LARGEST_MESSAGE);
        ++files;
    }
    EXPECT_GE(files, 40u) << "the seed corpus is missing";
}

// The cut of the byte stream must not matter: whole, byte by byte, in two pieces or in
// chunks, the same callbacks see the same bytes in the same order, and the head of an
// unfinished message is held back, whatever the generation and the logger switch.
TEST(ReplayCorpus, KnownMessagesGiveTheSameCallbacksHoweverTheyAreCut) {
    input_maker maker(20240611);
    for (int i = 0; i < 600; ++i) {
        SCOPED_TRACE("input " + std::to_string(i));
        const bool hv27 = maker.pick(2) == 0;
        size_t tail = 0;
        const Bytes payload = maker.messages(hv27, &tail);
        const loop_outcome whole =
            run(with_header(FEED_WHOLE, 0, hv27, maker.pick(2) == 0, payload));
        EXPECT_EQ(tail, whole.left_over);
        for (feed_mode mode : {FEED_BYTES, FEED_SPLIT, FEED_CHUNKS}) {
            SCOPED_TRACE("mode " + std::to_string(mode));
            const loop_outcome cut =
                run(with_header(mode, maker.byte(), hv27, maker.pick(2) == 0, payload));
            EXPECT_TRUE(cut.consumed_within_offer);
            EXPECT_EQ(whole.events, cut.events);
            EXPECT_EQ(whole.digest, cut.digest);
            EXPECT_EQ(tail, cut.left_over);
        }
        if (HasFailure())
            break;
    }
}

// Malformed streams: the loop never claims more than it was offered, and what it keeps
// is always less than the largest message (an unknown id swallows all at hand, a known
// one waits for its size at most).
TEST(ReplayCorpus, NoiseStaysWithinWhatWasOffered) {
    input_maker maker(7);
    for (int i = 0; i < 3000; ++i) {
        const Bytes input = maker.noise_input();
        const loop_outcome out = run(input);
        ASSERT_TRUE(out.consumed_within_offer) << "input " << i;
        ASSERT_LT(out.left_over, LARGEST_MESSAGE) << "input " << i;
    }
}

// Two 1082 answers read in the generation that the logon answer in front of them set.
TEST(ReplayCorpus, GenerationOfTheLogonAnswerDecidesTheSizeOf1082) {
    Bytes risk(84, 0);
    risk[0] = 1082 & 0xff;
    risk[1] = 1082 >> 8;
    Bytes two = risk;
    two.insert(two.end(), risk.begin(), risk.end());
    // hv27: two whole 84-byte answers. Other generation: 168 bytes of a 1006-byte one.
    EXPECT_EQ(0u, run(with_header(FEED_WHOLE, 0, true, false, two)).left_over);
    EXPECT_EQ(168u, run(with_header(FEED_WHOLE, 0, false, false, two)).left_over);
}

// With the link up, the logon answer in front of the bytes logs the client on, and with
// auto reconnect on that starts the reconnect thread; the local close at the end of the
// input logs it off again, and the thread, which repairs only links that the server
// ended, keeps watching.
TEST(ReplayCorpus, ALinkUpInputLogsOnAndStartsTheReconnectThread) {
    CQueryClient& client = shared_driver().client();
    const Bytes none;
    EXPECT_FALSE(run(with_header(FEED_WHOLE, 0, false, false, none)).logged_on);
    Bytes link_up = with_header(FEED_WHOLE, 0, false, false, none);
    link_up[0] |= CONTROL_LINK_UP;
    EXPECT_TRUE(run(link_up).logged_on);
    EXPECT_FALSE(client.IsLogon()) << "the input ends with a local close";
    EXPECT_EQ(E_STATUS_DISCONN_BY_LOCAL, client.m_e_connect_status.load());
    link_up[0] |= CONTROL_AUTO_RECONNECT;
    const loop_outcome out = run(link_up);
    EXPECT_TRUE(out.logged_on);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (client.m_connect_thread_is_running.load() == 0 &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(1, client.m_connect_thread_is_running.load());
    // Inputs after it run as before, whatever the thread does meanwhile.
    Bytes logon_refused = with_header(FEED_WHOLE, 0, false, false, Bytes(56, 0));
    logon_refused[2] = 1068 & 0xff;
    logon_refused[3] = 1068 >> 8;
    logon_refused[2 + 8] = 1;  // the result byte: refused
    logon_refused[0] |= CONTROL_LINK_UP | CONTROL_AUTO_RECONNECT;
    EXPECT_FALSE(run(logon_refused).logged_on);
}
