// Writes the seed corpus of fuzz_message_loop: for each server generation, every
// family of answer the simulator's built-in data holds, each cut in one of the four
// ways; logon and password answers; refusals of every request; unknown ids; a change
// of generation inside one buffer; a stream cut off inside a message.
//
//   fuzz_make_corpus DIR

#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "message_loop_driver.h"
#include "protocol/msg_define_hv27.h"
#include "zul_sim.h"

namespace {

using zul_fuzz::feed_mode;
using zulsim::Bytes;

const char* const MODE_NAMES[] = {"whole", "bytes", "split", "chunks"};
// The cut point of FEED_SPLIT a little before the middle, chunks of 7 bytes.
const unsigned char MODE_PARAMS[] = {0, 0, 120, 6};

std::string g_dir;
int g_written = 0;

void write_input(const std::string& name, feed_mode mode, bool hv27, const Bytes& payload,
                 bool logger = false, unsigned char link_bits = 0) {
    std::string path = g_dir + "/" + name + "-" + MODE_NAMES[mode] + (logger ? "-log" : "");
    std::ofstream out(path, std::ios::binary);
    const unsigned char control =
        static_cast<unsigned char>(mode | (hv27 ? zul_fuzz::CONTROL_HV27 : 0) |
                                   (logger ? zul_fuzz::CONTROL_LOGGER : 0) | link_bits);
    out.put(static_cast<char>(control));
    out.put(static_cast<char>(MODE_PARAMS[mode]));
    out.write(reinterpret_cast<const char*>(payload.data()),
              static_cast<std::streamsize>(payload.size()));
    if (!out) {
        std::cerr << "cannot write " << path << "\n";
        exit(1);
    }
    ++g_written;
}

void append(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
}

template <typename Record>
Bytes bytes_of(const Record& r) {
    return zulsim::DataSet::bytes_of(r);
}

Bytes logon_answer(unsigned char generation_flag) {
    query_logon_msg_resp m;
    m.m_user_id = 70123;
    m.m_reserved[0] = static_cast<char>(generation_flag);
    return bytes_of(m);
}

// Every family of the data set, the account with full-width texts where there is one;
// the cut and the logger switch change from one family to the next.
void write_families(bool hv27) {
    const zulsim::DataSet data = zulsim::DataSet::standard(hv27);
    const char* gen = hv27 ? "hv27" : "std";
    int turn = 0;
    for (const auto& entry : data.all()) {
        const std::string& account = entry.first.second;
        if (account != "" && account != "ACCT-FULL-WIDE16")
            continue;
        Bytes payload;
        for (const Bytes& msg : entry.second)
            append(payload, msg);
        write_input(std::string(gen) + "-" + std::to_string(entry.first.first),
                    static_cast<feed_mode>(turn % 4), hv27, payload, turn / 4 % 2 == 1);
        ++turn;
    }
}

void write_refusals() {
    const unsigned short subs[] = {68, 69, 71, 72, 73, 74, 75, 76, 77, 78,
                                   79, 81, 82, 83, 85, 88, 95, 98, 0,  300};
    Bytes payload;
    unsigned error = 1;
    for (unsigned short sub : subs) {
        hv27_query_err_resp m;
        m.m_user_id = 70123;
        m.m_sub_msg_id = sub;
        m.m_error_id = error++;
        append(payload, bytes_of(m));
    }
    write_input("refusals-1064", zul_fuzz::FEED_CHUNKS, false, payload);
    write_input("refusals-1064", zul_fuzz::FEED_WHOLE, true, payload);
}

void write_unknown_ids() {
    Bytes unknown = {0x48, 0x04};  // 1096, an id without a row
    unknown.resize(40, 0x5a);
    append(unknown, logon_answer(0));  // lost with the unknown message
    write_input("unknown-1096", zul_fuzz::FEED_WHOLE, false, unknown, true);
    write_input("unknown-negative", zul_fuzz::FEED_SPLIT, false, Bytes{0xff, 0xff, 1, 2});
    write_input("lone-byte", zul_fuzz::FEED_WHOLE, false, Bytes{0x2c});
}

void write_logon_and_password() {
    Bytes payload = logon_answer(0);
    change_password_resp pw;
    pw.m_result_code = 3;
    append(payload, bytes_of(pw));
    write_input("logon-1068-1069", zul_fuzz::FEED_BYTES, false, payload);
}

// Over a live link: the driver's logon answer logs on (and starts the reconnect thread
// with auto reconnect on), a refused one in the stream logs off, a later good one logs
// on again, with a stream and a refusal around them.
void write_live_link() {
    const zulsim::DataSet data = zulsim::DataSet::standard(false);
    const unsigned char live = zul_fuzz::CONTROL_LINK_UP | zul_fuzz::CONTROL_AUTO_RECONNECT;
    Bytes payload;
    for (const Bytes& msg : *data.find(QUERY_USER_ACCOUNT_RESP_MSG_ID, ""))
        append(payload, msg);
    query_logon_msg_resp refused;
    refused.Result = 2;
    append(payload, bytes_of(refused));
    append(payload, logon_answer(0));
    hv27_query_err_resp refusal;
    refusal.m_sub_msg_id = 73;
    append(payload, bytes_of(refusal));
    write_input("live-logon-1071-1068", zul_fuzz::FEED_WHOLE, false, payload, true, live);
    write_input("live-logon-1071-1068", zul_fuzz::FEED_CHUNKS, false, payload, false, live);
    write_input("live-no-reconnect", zul_fuzz::FEED_SPLIT, false, logon_answer(0), false,
                zul_fuzz::CONTROL_LINK_UP);
}

// A logon answer of the other generation in the middle of a buffer decides the size of
// the next 1075 and 1082 at once.
void write_generation_switch() {
    const zulsim::DataSet hv27 = zulsim::DataSet::standard(true);
    Bytes payload = logon_answer(HV27_VERSION_FLAG);
    append(payload, (*hv27.find(QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID, "ZQ7"))[0]);
    append(payload, (*hv27.find(REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID, "ZQ7"))[0]);
    write_input("switch-to-hv27", zul_fuzz::FEED_CHUNKS, false, payload);
}

// Two whole position records and the first 40 bytes of a third.
void write_cut_stream() {
    const zulsim::DataSet data = zulsim::DataSet::standard(false);
    const std::vector<Bytes>& msgs =
        *data.find(QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, "ACCT-FULL-WIDE16");
    Bytes payload = msgs[0];
    append(payload, msgs[1]);
    payload.insert(payload.end(), msgs[2].begin(), msgs[2].begin() + 40);
    write_input("cut-1073", zul_fuzz::FEED_SPLIT, false, payload);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: fuzz_make_corpus DIR\n";
        return 2;
    }
    g_dir = argv[1];
    write_families(false);
    write_families(true);
    write_refusals();
    write_unknown_ids();
    write_logon_and_password();
    write_generation_switch();
    write_live_link();
    write_cut_stream();
    std::cout << g_written << " inputs written to " << g_dir << "\n";
    return 0;
}
