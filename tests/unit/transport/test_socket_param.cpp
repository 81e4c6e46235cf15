#include <gtest/gtest.h>

#include "transport/socket_param.h"

namespace {

TEST(SocketParam, DataIsReadThroughTheProducersPointer) {
    const char* data = "hello";
    socket_param p(EVENT_RECEIVE, 3, &data, 5, 9);
    // The producer re-points its variable; the record follows.
    const char* other = "zz";
    data = other;
    EXPECT_EQ(other, p.get_buff_addr());
    EXPECT_FALSE(p.set_buff(nullptr, 5));
    const char* refused = "no";
    EXPECT_FALSE(p.set_buff(&refused, 0));
    EXPECT_EQ(other, p.get_buff_addr());
    EXPECT_EQ(5u, p.get_buff_size());
    EXPECT_TRUE(p.set_buff(&refused, 2));
    EXPECT_EQ(refused, p.get_buff_addr());
    EXPECT_EQ(2u, p.get_buff_size());
}

TEST(SocketParam, CopiesCarryEverythingButTheAlias) {
    const char* data = "payload";
    socket_param src(EVENT_SEND, 4, &data, 7, 11);
    src.set_proc_len(5);
    src.set_alias("src");
    EXPECT_TRUE(src.set_alias(static_cast<const char*>(nullptr)));
    EXPECT_EQ("src", src.get_alias());

    socket_param copy(src);
    EXPECT_EQ(EVENT_SEND, copy.get_event_type());
    EXPECT_EQ(data, copy.get_buff_addr());
    EXPECT_EQ(5u, copy.get_proc_len());
    EXPECT_EQ(4, copy.get_socket_id());
    EXPECT_EQ(11, copy.get_socket());
    EXPECT_EQ("", copy.get_alias());

    socket_param assigned;
    EXPECT_EQ(EVENT_UNKNOW, assigned.get_event_type());
    EXPECT_EQ(nullptr, assigned.get_buff_addr());
    assigned.set_alias("mine");
    assigned = src;
    EXPECT_EQ(5u, assigned.get_proc_len());
    EXPECT_EQ(7u, assigned.get_buff_size());
    EXPECT_EQ("mine", assigned.get_alias());
}

}  // namespace
