#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "client/record_copy.h"

using namespace record_copy;

namespace {

// A destination with guard bytes behind it, pre-zeroed as the translators do.
template <size_t N>
struct guarded {
    char field[N];
    char guard[4];
    guarded() {
        memset(field, 0, N);
        memset(guard, '#', sizeof(guard));
    }
    bool guard_intact() const { return memcmp(guard, "####", 4) == 0; }
    std::string bytes() const { return std::string(field, N); }
};

// A wire field followed by bytes that a copy must never read into.
template <size_t M>
struct wire {
    char field[M];
    char next[4];
    explicit wire(const std::string& text) {
        memset(field, 0, M);
        memcpy(field, text.data(), text.size());
        memcpy(next, "NEXT", 4);
    }
};

}  // namespace

TEST(RecordCopy, AccountCopyTerminatesAFullWireField) {
    wire<16> w("ABCDEFGHIJKLMNOP");
    guarded<17> d;
    account_copy(d.field, w.field);
    EXPECT_EQ(std::string("ABCDEFGHIJKLMNOP\0", 17), d.bytes());
    EXPECT_TRUE(d.guard_intact());
}

TEST(RecordCopy, BoundedTextStopsAtZeroOrWidthWithoutTerminator) {
    wire<20> full("ABCDEFGHIJKLMNOPQRST");
    guarded<20> d;
    bounded_text(d.field, full.field);
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRST", d.bytes());
    EXPECT_TRUE(d.guard_intact());

    wire<20> shortw("AB");
    shortw.field[5] = 'X';  // bytes behind the first zero are not copied
    guarded<20> e;
    bounded_text(e.field, shortw.field);
    EXPECT_EQ(std::string("AB") + std::string(18, '\0'), e.bytes());

    wire<9> date("202401319");  // 9 digits: nothing behind the field is read
    guarded<9> f;
    bounded_text(f.field, date.field);
    EXPECT_EQ("202401319", f.bytes());
}

TEST(RecordCopy, WholeFieldCopiesEveryByte) {
    wire<24> w("ID");
    w.field[10] = 'Z';
    guarded<25> d;
    d.field[24] = '\0';
    whole_field(d.field, w.field);
    EXPECT_EQ('Z', d.field[10]);
    EXPECT_EQ('\0', d.field[24]);
    EXPECT_TRUE(d.guard_intact());
}

TEST(RecordCopy, ForcedEndCutsTheLastCharacter) {
    wire<32> prod("0123456789abcdef0123456789ABCDEF");
    guarded<32> d;
    forced_end(d.field, prod.field);
    EXPECT_EQ(std::string("0123456789abcdef0123456789ABCDE\0", 32), d.bytes());

    wire<80> combo(std::string(80, 'c'));
    guarded<80> e;
    forced_end(e.field, combo.field);
    EXPECT_EQ(79u, strlen(e.field));
    EXPECT_TRUE(e.guard_intact());
}

TEST(RecordCopy, LimitedTextTerminatesWithinTheWireWidth) {
    wire<20> sym("ABCDEFGHIJKLMNOPQRST");
    guarded<20> d;
    limited_text(d.field, sym.field);
    EXPECT_EQ(std::string("ABCDEFGHIJKLMNOPQRS\0", 20), d.bytes());

    wire<16> acct("ABCDEFGHIJKLMNOP");  // wire of 16 into a field of 17
    guarded<17> a;
    limited_text(a.field, acct.field);
    EXPECT_EQ(std::string("ABCDEFGHIJKLMNOP\0", 17), a.bytes()) << "must not read into the next field";

    wire<24> mkt("EXEC-1");
    guarded<25> m;
    limited_text(m.field, mkt.field);
    EXPECT_STREQ("EXEC-1", m.field);
}
