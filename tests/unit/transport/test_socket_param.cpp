#include <gtest/gtest.h>

#include "transport/socket_param.h"

namespace {

TEST(SocketParam, DefaultRecordIsUnknownAndEmpty) {
    socket_param p;
    EXPECT_EQ(EVENT_UNKNOW, p.get_event_type());
    EXPECT_EQ(nullptr, p.get_buff_addr());
    EXPECT_EQ(0u, p.get_buff_size());
    EXPECT_EQ(0u, p.get_proc_len());
    EXPECT_EQ(0, p.get_socket());
    EXPECT_EQ(0, p.get_socket_id());
}

TEST(SocketParam, DataIsReadThroughTheProducersPointer) {
    const char first[] = "abc";
    const char second[] = "xyz";
    const char* data = first;
    socket_param p(EVENT_RECEIVE, 3, &data, 3, 9);
    EXPECT_EQ(first, p.get_buff_addr());
    // The producer re-points its variable; the record follows.
    data = second;
    EXPECT_EQ(second, p.get_buff_addr());
    EXPECT_EQ(3, p.get_socket_id());
    EXPECT_EQ(9, p.get_socket());
    EXPECT_EQ(0u, p.get_proc_len());
}

TEST(SocketParam, SetBuffRefusesNullOrEmptyAndKeepsTheOldRun) {
    const char* data = "hello";
    socket_param p(EVENT_RECEIVE, 0, &data, 5, 0);
    EXPECT_FALSE(p.set_buff(nullptr, 5));
    const char* other = "zz";
    EXPECT_FALSE(p.set_buff(&other, 0));
    EXPECT_EQ(data, p.get_buff_addr());
    EXPECT_EQ(5u, p.get_buff_size());
    EXPECT_TRUE(p.set_buff(&other, 2));
    EXPECT_EQ(other, p.get_buff_addr());
    EXPECT_EQ(2u, p.get_buff_size());
}

TEST(SocketParam, NullAliasKeepsTheOldOne) {
    socket_param p;
    EXPECT_TRUE(p.set_alias(std::string("feed")));
    EXPECT_TRUE(p.set_alias(static_cast<const char*>(nullptr)));
    EXPECT_EQ("feed", p.get_alias());
}

TEST(SocketParam, CopiesCarryEverythingButTheAlias) {
    const char* data = "payload";
    socket_param src(EVENT_SEND, 4, &data, 7, 11);
    src.set_proc_len(5);
    src.set_alias("src");

    socket_param copy(src);
    EXPECT_EQ(EVENT_SEND, copy.get_event_type());
    EXPECT_EQ(data, copy.get_buff_addr());
    EXPECT_EQ(7u, copy.get_buff_size());
    EXPECT_EQ(5u, copy.get_proc_len());
    EXPECT_EQ(4, copy.get_socket_id());
    EXPECT_EQ(11, copy.get_socket());
    EXPECT_EQ("", copy.get_alias());

    socket_param assigned;
    assigned.set_alias("mine");
    assigned = src;
    EXPECT_EQ(5u, assigned.get_proc_len());
    EXPECT_EQ(EVENT_SEND, assigned.get_event_type());
    EXPECT_EQ("mine", assigned.get_alias());
}

}  // namespace
