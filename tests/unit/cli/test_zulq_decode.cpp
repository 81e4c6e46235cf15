// zulq decode on logs written here record by record: both server generations, unknown
// and cut messages, every output format, and files that break off or are damaged.

#include <gtest/gtest.h>

#include <cstring>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "zulq_cli.h"
#include "zulq_decode.h"

using namespace zulq;

namespace {

// One log record as the library writes it: header, direction, blank, payload, newline.
std::string record(char direction, const std::string& payload,
                   const char* when = "20240715-14:03:09.000123") {
    char head[64];
    snprintf(head, sizeof(head), "%s %05d %c ", when, static_cast<int>(payload.size()), direction);
    return head + payload + "\n";
}

template <class R>
std::string bytes(const R& r) {
    return std::string(reinterpret_cast<const char*>(&r), sizeof(r));
}

std::string logon_request() {
    query_logon_msg_req r;
    r.m_proto_version = QUERY_PROTO_VERSION;
    strcpy(r.m_login_id, "trader01");
    return bytes(r);
}

std::string logon_answer(unsigned char version_flag) {
    query_logon_msg_resp r;
    r.m_user_id = 4242;
    r.m_reserved[0] = static_cast<char>(version_flag);
    return bytes(r);
}

std::string execution(size_t size) {
    std::string r(size, '\0');
    const Int2 id = 1075, len = static_cast<Int2>(size);
    memcpy(&r[0], &id, 2);
    memcpy(&r[2], &len, 2);
    const Int4 qty = 70007;  // m_executed_quantity, at the same place in both forms
    memcpy(&r[offsetof(rewind_order_execution_response, m_executed_quantity)], &qty, 4);
    return r;
}

struct Decoded {
    int code;
    std::string out, err;
};

Decoded decode(const std::string& file, OutputFormat format = OutputFormat::json, long id = -1) {
    FILE* in = fmemopen(const_cast<char*>(file.data()), file.size(), "rb");
    if (file.empty())
        in = fopen("/dev/null", "rb");
    char *out_buf = nullptr, *err_buf = nullptr;
    size_t out_size = 0, err_size = 0;
    FILE* out = open_memstream(&out_buf, &out_size);
    FILE* err = open_memstream(&err_buf, &err_size);
    DecodeOptions o;
    o.file = "mavlog_20240715.bin";
    o.format = format;
    o.id = id;
    const int code = decode_log(in, o, out, err);
    fclose(in);
    fclose(out);
    fclose(err);
    Decoded d{code, std::string(out_buf, out_size), std::string(err_buf, err_size)};
    free(out_buf);
    free(err_buf);
    return d;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    size_t at = 0;
    for (size_t nl; (nl = text.find('\n', at)) != std::string::npos; at = nl + 1)
        out.push_back(text.substr(at, nl - at));
    return out;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// A log of two logons, to an hv27 server and then to another: the sizes of 1075 and
// 1082 follow the last logon answer, which itself is read in the form it announces.
std::string two_generations() {
    query_account_position_req q;
    q.m_user_id = 4242;
    strcpy(q.m_account_id, "ZQ7");
    q.m_sec_type = SEC_TYPE_FUTURE;
    return record('0', logon_request()) + record('1', logon_answer(6)) + record('0', bytes(q)) +
           record('1', execution(112)) + record('1', bytes(hv27_account_risk_real_data_resp())) +
           record('1', logon_answer(5)) + record('1', execution(88)) +
           record('1', bytes(account_risk_real_data_resp()));
}

TEST(ZulqDecode, FollowsTheServerGenerationOfEachLogonAnswer) {
    const Decoded d = decode(two_generations());
    ASSERT_EQ(EXIT_OK, d.code) << d.err;
    EXPECT_EQ("", d.err);
    const std::vector<std::string> l = lines(d.out);
    ASSERT_EQ(8u, l.size()) << d.out;
    const char* names[] = {"query_logon_msg_req",
                           "hv27_query_logon_msg_resp",
                           "query_account_position_req",
                           "hv27_rewind_order_execution_response",
                           "hv27_account_risk_real_data_resp",
                           "query_logon_msg_resp",
                           "rewind_order_execution_response",
                           "account_risk_real_data_resp"};
    for (size_t i = 0; i < l.size(); ++i)
        EXPECT_TRUE(has(l[i], std::string("\"Name\":\"") + names[i] + "\"")) << l[i];
    EXPECT_TRUE(has(l[0],
                    "{\"Offset\":0,\"Time\":\"2024-07-15 14:03:09.000123\","
                    "\"Direction\":\"sent\",\"MsgId\":68,"))
        << l[0];
    EXPECT_TRUE(has(l[1], "\"Direction\":\"received\",\"MsgId\":1068,")) << l[1];
    EXPECT_TRUE(has(l[1], "\"version_flag\":6,")) << l[1];
    EXPECT_TRUE(has(l[2], "\"user_id\":4242,\"account_id\":\"ZQ7\",\"sec_type\":3,")) << l[2];
    EXPECT_TRUE(has(l[3], "\"executed_quantity\":70007,")) << l[3];
    EXPECT_TRUE(has(l[6], "\"executed_quantity\":70007,")) << l[6];
    // Each record's offset: 33 bytes of header and direction, the payload, a newline.
    EXPECT_TRUE(has(l[1], "\"Offset\":114,")) << l[1];
}

TEST(ZulqDecode, UnknownAndCutMessagesShowTheirBytes) {
    const std::string unknown("\xF2\x03\x01\x02\n\xff", 6);  // id 1010, a newline inside
    const std::string cut = bytes(query_user_account_resp()).substr(0, 20);
    std::string two(bytes(query_user_account_req()) + bytes(query_symbol_req()));
    const Decoded d = decode(record('1', unknown) + record('1', cut) + record('0', two) +
                             record('1', std::string(1, '\x07')));
    ASSERT_EQ(EXIT_OK, d.code) << d.err;
    const std::vector<std::string> l = lines(d.out);
    ASSERT_EQ(5u, l.size()) << d.out;
    EXPECT_TRUE(has(l[0], "\"MsgId\":1010,\"Name\":\"unknown\",\"Bytes\":\"f20301020aff\"}"))
        << l[0];
    EXPECT_TRUE(has(l[1], "\"Name\":\"query_user_account_resp (cut short: 20 of 88 bytes)\","))
        << l[1];
    EXPECT_TRUE(has(l[2], "\"MsgId\":71,\"Name\":\"query_user_account_req\"")) << l[2];
    EXPECT_TRUE(has(l[3], "\"MsgId\":72,\"Name\":\"query_symbol_req\"")) << "a send of two";
    EXPECT_TRUE(has(l[4], "\"MsgId\":7,\"Name\":\"unknown\",\"Bytes\":\"07\"")) << l[4];
}

TEST(ZulqDecode, FileThatBreaksOffOrIsDamagedTellsTheOffsetAfterTheRecordsBeforeIt) {
    const std::string good = two_generations();
    const std::string first = record('0', logon_request());  // 114 bytes
    const struct {
        std::string file;
        size_t messages;
        const char* where;
    } cases[] = {
        {good.substr(0, good.size() - 1), 7,
         "damaged at offset 1785: the end of the file where"
         " the newline that ends the record at offset 746"},
        {good.substr(0, good.size() - 500), 7,
         "damaged at offset 1286: the file ends inside "
         "the record at offset 746: 507 of its 1006"},
        {first + first.substr(0, 20), 1, "damaged at offset 134: the file ends inside the header"},
        {first + "2024071X" + first.substr(8), 1, "damaged at offset 121: no log record begins"},
        {first + first.substr(0, 25) + "00080 2 " + first.substr(33), 1,
         "damaged at offset 145: '2' where the direction"},
        {first + first.substr(0, 25) + "000x0 0 " + first.substr(33), 1,
         "damaged at offset 142: 'x' in the length field"},
        {first + first.substr(0, 25) + "00079 0 " + first.substr(33), 1,
         "damaged at offset 226: byte 0x00 where the newline"},  // a length one short
        {"garbage\n", 0, "damaged at offset 0: no log record begins here ('g'"},
    };
    for (const auto& c : cases) {
        for (OutputFormat f :
             {OutputFormat::json, OutputFormat::table, OutputFormat::csv, OutputFormat::vertical}) {
            const Decoded d = decode(c.file, f);
            EXPECT_EQ(EXIT_DAMAGED_LOG, d.code);
            EXPECT_TRUE(has(d.err, std::string("zulq: mavlog_20240715.bin: ") + c.where)) << d.err;
            if (f == OutputFormat::json) {
                EXPECT_EQ(c.messages, lines(d.out).size()) << d.out;
            }
        }
    }
    EXPECT_EQ(EXIT_OK, decode("").code) << "an empty log is whole";
}

TEST(ZulqDecode, FormatsKeepOneHeaderPerCsvStreamAndATablePerKind) {
    const std::string log = two_generations();
    // CSV with --id: one line per message under the fields of both forms of the id.
    const std::vector<std::string> wide = lines(decode(log, OutputFormat::csv, 1068).out);
    ASSERT_EQ(3u, wide.size());
    EXPECT_EQ(0u, wide[0].find("Offset,Time,Direction,MsgId,Name,msg_id,msg_len,sequence,Result,"))
        << wide[0];
    EXPECT_TRUE(has(wide[0], ",version_flag,") && has(wide[0], ",Bytes")) << wide[0];
    // CSV of everything: one header, a line per field.
    const std::vector<std::string> tall = lines(decode(log, OutputFormat::csv).out);
    EXPECT_EQ("Offset,Time,Direction,MsgId,Name,Field,Value", tall[0]);
    EXPECT_EQ("0,2024-07-15 14:03:09.000123,sent,68,query_logon_msg_req,proto_version,15", tall[4]);
    size_t headers = 0;
    for (const std::string& l : tall)
        headers += l.compare(0, 7, "Offset,") == 0;
    EXPECT_EQ(1u, headers);
    // A table per run of one kind; vertical and JSON: one block or line per message.
    const std::string table = decode(log, OutputFormat::table).out;
    size_t tables = 0;
    for (const std::string& l : lines(table))
        tables += l.compare(0, 10, "    Offset") == 0;
    EXPECT_EQ(8u, tables) << table;
    EXPECT_EQ(2u, lines(decode(log, OutputFormat::json, 1075).out).size());
    const std::string vertical = decode(log, OutputFormat::vertical, 69).out;
    EXPECT_EQ("", vertical) << "no message of that id";
}

TEST(ZulqDecode, CommandLineFindsDecodeAndRefusesWhatItCannotDo) {
    auto is_decode = [](std::vector<const char*> args) {
        args.insert(args.begin(), "zulq");
        return is_decode_command(static_cast<int>(args.size()), const_cast<char**>(args.data()));
    };
    EXPECT_TRUE(is_decode({"decode", "f.bin"}));
    EXPECT_TRUE(is_decode({"--csv", "decode", "f.bin"}));
    EXPECT_FALSE(is_decode({"--port", "5", "decode"}));
    EXPECT_FALSE(is_decode({"accounts", "decode"}));
    EXPECT_FALSE(is_decode({"--help"}));
}

}  // namespace
