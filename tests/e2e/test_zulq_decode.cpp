// zulq decode of the binary log that zulq --trace runs wrote against the simulator: every
// request the server framed and every answer it served, in order, field by field; both
// generations; the command line's own failures.

#include <cmath>
#include <filesystem>
#include <memory>

#include "sim_builders.h"
#include "support/zulq_run.h"

namespace {

using namespace zul_test;
using Row = std::vector<std::pair<std::string, std::string>>;

std::string binary_log() {
    for (const auto& e : std::filesystem::directory_iterator("logs")) {
        const std::string name = e.path().filename().string();
        if (name.compare(0, 7, "mavlog_") == 0 && e.path().extension() == ".bin")
            return e.path().string();
    }
    return "";
}

std::string cell(const Row& row, const std::string& column) {
    for (const auto& c : row)
        if (c.first == column)
            return c.second;
    return "<none>";
}

// The decoded fields of a message against the wire record: every field of the record,
// read here from its bytes.
void same_fields(const Row& row, const zulsim::RecordInfo& info, const zulsim::Bytes& wire) {
    EXPECT_EQ('"' + info.name, cell(row, "Name"));
    ASSERT_EQ(info.size, wire.size());
    for (const zulsim::FieldInfo& f : info.fields) {
        std::string column = f.name;
        for (size_t at;
             (at = column.find("m_")) != std::string::npos && (at == 0 || column[at - 1] == '.');)
            column.erase(at, 2);
        const std::string got = cell(row, column);
        SCOPED_TRACE(info.name + "." + f.name + " printed as " + got);
        if (zulsim::is_reserved(f)) {
            EXPECT_TRUE(got == "\"" || got.size() == 2 * f.width + 1);
            continue;
        }
        const std::string want = zulsim::read_field(f, wire.data());
        switch (f.kind) {
            case zulsim::FieldKind::real:
                EXPECT_EQ(strtod(want.c_str(), nullptr), strtod(got.c_str(), nullptr));
                break;
            case zulsim::FieldKind::text:
                EXPECT_EQ('"' + want, got);
                break;
            default:
                // Times print as times (zulq runs in UTC here), everything else as a number.
                if (got.compare(0, 1, "\"") != 0)
                    EXPECT_EQ(want, got);
                else
                    EXPECT_EQ('"' + utc_text(std::stoull(want)), got);
        }
    }
}

struct Traced {
    explicit Traced(bool hv27) {
        zulsim::Options o;
        o.hv27 = hv27;
        sim.reset(new zulsim::Simulator(o));
        EXPECT_TRUE(sim->start());
    }
    zulq_outcome query(const std::string& command) {
        return run_zulq("--port " + std::to_string(sim->port()) +
                        " --user trader01 --timeout 30 --log-dir logs --trace " + command);
    }
    scratch_dir dir;
    std::unique_ptr<zulsim::Simulator> sim;
};

// Three runs, each logon, request and answer decoded in the order they went: the sent
// messages are the requests the server framed, the received ones the records it served.
TEST(ZulqDecode, ShowsTheRequestsAndAnswersOfTracedRunsInOrder) {
    for (bool hv27 : {false, true}) {
        SCOPED_TRACE(hv27 ? "hv27" : "other generation");
        Traced t(hv27);
        for (const char* command :
             {"positions ZQ7", "executions ACCT-FULL-WIDE16", "bp-detail ZQ7"})
            ASSERT_EQ(0, t.query(command).code) << command;
        const zulq_outcome d = run_zulq("decode --json " + binary_log());
        ASSERT_EQ(0, d.code) << d.err;
        const auto rows = parse_json_lines(d.out);
        const std::vector<zulsim::ReceivedRequest> requests = t.sim->requests();
        const zulsim::DataSet data = t.sim->data();
        std::vector<Row> sent, received;
        for (const Row& r : rows)
            (cell(r, "Direction") == "\"sent" ? sent : received).push_back(r);
        ASSERT_EQ(requests.size(), sent.size()) << d.out;
        for (size_t i = 0; i < sent.size(); ++i)
            same_fields(sent[i], *zulsim::request_info(requests[i].id), requests[i].raw);
        // Each run: the logon answer, then the records of its answer.
        std::vector<std::pair<uint16_t, zulsim::Bytes>> served;
        for (const auto& [id, account] : std::vector<std::pair<uint16_t, const char*>>{
                 {1073, "ZQ7"}, {1075, "ACCT-FULL-WIDE16"}, {1088, "ZQ7"}}) {
            served.emplace_back(1068, zulsim::Bytes());
            for (const zulsim::Bytes& b : *data.find(id, account))
                served.emplace_back(id, b);
        }
        ASSERT_EQ(served.size(), received.size()) << d.out;
        for (size_t i = 0; i < served.size(); ++i) {
            EXPECT_EQ(std::to_string(served[i].first), cell(received[i], "MsgId"));
            if (served[i].first == 1068) {
                EXPECT_EQ(hv27 ? "\"hv27_query_logon_msg_resp" : "\"query_logon_msg_resp",
                          cell(received[i], "Name"));
                continue;
            }
            same_fields(received[i], *zulsim::response_info(served[i].first, hv27),
                        served[i].second);
        }
        // One message kind; the other formats print the same messages.
        const zulq_outcome only = run_zulq("decode " + binary_log() + " --id 73 --json");
        EXPECT_EQ(1u, parse_json_lines(only.out).size()) << only.out;
        const zulq_outcome csv = run_zulq("decode --csv --id 1073 " + binary_log());
        EXPECT_EQ(5u, split_lines(csv.out).size()) << "a header and the four records";
        EXPECT_EQ(0, run_zulq("decode --vertical " + binary_log()).code);
    }
}

TEST(ZulqDecode, CommandLineFailuresAndACutLog) {
    Traced t(false);
    ASSERT_EQ(0, t.query("accounts").code);
    const std::string log = binary_log();
    const std::string whole = read_file(log);
    {
        std::ofstream cut("cut.bin", std::ios::binary);
        cut << whole.substr(0, whole.size() - 10);
    }
    const zulq_outcome broken = run_zulq("decode --json cut.bin");
    EXPECT_EQ(8, broken.code);
    EXPECT_NE(std::string::npos, broken.err.find("zulq: cut.bin: damaged at offset " +
                                                 std::to_string(whole.size() - 10)))
        << broken.err;
    EXPECT_EQ(split_lines(run_zulq("decode --json " + log).out).size() - 1,
              split_lines(broken.out).size())
        << "every message but the cut one";
    const struct {
        const char* args;
        int code;
        const char* err;
    } failures[] = {
        {"decode", 1, "decode takes FILE"},
        {"decode a.bin b.bin", 1, "decode takes one FILE"},
        {"decode --csv --json a.bin", 1, "choose one of --csv, --json and --vertical"},
        {"decode --id 70000 a.bin", 1, "bad value for --id"},
        {"decode --port 5 a.bin", 1, "decode takes no --port"},
        {"decode no-such.bin", 8, "cannot open no-such.bin"},
    };
    for (const auto& f : failures) {
        const zulq_outcome o = run_zulq(f.args);
        EXPECT_EQ(f.code, o.code) << f.args;
        EXPECT_NE(std::string::npos, o.err.find(f.err)) << f.args << ": " << o.err;
    }
    const zulq_outcome help = run_zulq("decode --help");
    EXPECT_EQ(0, help.code);
    EXPECT_EQ(0u, help.out.find("usage: zulq decode FILE")) << help.out;
    EXPECT_NE(std::string::npos, run_zulq("--help").out.find("decode FILE"));
}

}  // namespace
