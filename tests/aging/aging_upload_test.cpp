// What the upload makes of addresses and serial numbers, and the bounds of its spool.
#include <gtest/gtest.h>

#include <filesystem>

#include "AgingTest/aging_spool.h"
#include "AgingTest/aging_upload.h"

TEST(AgingUpload, AddressesAndTopics) {
    const auto server = [](const char *text) {
        std::string host;
        int port = 0;
        return aging_upload_server(text, &host, &port) ? host + "|" + std::to_string(port) : "none";
    };
    EXPECT_EQ(server("10.0.0.1:1883"), "10.0.0.1|1883");
    EXPECT_EQ(server("broker.line-3"), "broker.line-3|20002");
    EXPECT_EQ(server("[fe80::1%wlan0]:8883"), "fe80::1%wlan0|8883");
    for (const char *bad : {"", ":1", "a:0", "a:65536", "a:1x", "a b:1", "[::1", "[]:1", "::1", "a:-1"}) EXPECT_EQ(server(bad), "none") << bad;
    EXPECT_EQ(aging_upload_topic("a/b+c#d\n", "trend"), "aging/a_b_c_d_/trend");
    EXPECT_EQ(aging_upload_topic("", "result"), "aging/unknown/result");
}

TEST(AgingUpload, TheSpoolDropsItsOldestAndCounts) {
    std::filesystem::remove_all(AGING_SPOOL);
    const std::string big(AGING_SPOOL_BYTES / 4, 'x');
    for (const long run : {2000L, 1000L, 1010L, 1790000000L}) EXPECT_TRUE(aging_spool_put(aging_spool_name(run, 1, "trend"), big));
    EXPECT_TRUE(aging_spool_put(aging_spool_name(2000, 1, "trend"), big)) << "replaced, not added";
    EXPECT_EQ(aging_spool_list().size(), 4U);
    EXPECT_EQ(aging_spool_dropped(), 0);
    EXPECT_TRUE(aging_spool_put(aging_spool_name(3000, 0, "result"), "new"));
    EXPECT_EQ(aging_spool_list(), (std::vector<std::string>{aging_spool_name(1010, 1, "trend"), aging_spool_name(2000, 1, "trend"),
                                                            aging_spool_name(3000, 0, "result"), aging_spool_name(1790000000, 1, "trend")}));
    EXPECT_EQ(aging_spool_dropped(), 1);
    EXPECT_FALSE(aging_spool_put("x", std::string(AGING_SPOOL_BYTES + 1, 'x')));
    for (const std::string &name : aging_spool_list()) aging_spool_remove(name);
    EXPECT_TRUE(aging_spool_list().empty()) << "what counts and what is pending are no messages";
    std::filesystem::remove_all(AGING_SPOOL);
}
