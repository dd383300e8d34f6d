// The storage under orders: what passes through it, what it refuses, and what is left behind a power cut.
#include "booted.h"

#include "support/files.h"

namespace {

class StorageTest : public testing::Test {
protected:
    void SetUp() override {
        REQUIRE_HOST();
        handset.options.storage = "faults";
        ASSERT_TRUE(handset.boot("exec sleep 1000"));
    }
    nlohmann::json order(nlohmann::json request) {
        request["op"] = "storage";
        return handset.ask(request);
    }
    // Runs the commands, in which the power goes, and waits for the next boot.
    void cut(int at, const std::string &phase, const std::string &mode, const std::string &commands) {
        const int boots = handset.ask({{"op", "status"}}).at("boots");
        EXPECT_TRUE(order({{"cut", {{"at", at}, {"phase", phase}, {"mode", mode}}}}).value("ok", false));
        handset.sh(commands);
        EXPECT_TRUE(handset.waits_for("boots", boots + 1));
        EXPECT_TRUE(handset.waits_for("state", "running"));
        EXPECT_EQ(handset.ask({{"op", "status"}}).at("last"), "power-cut");
    }
    std::string data(const std::string &name) const { return files::get(handset.paths.data() + "/" + name); }

    booted::Handset handset;
};

TEST_F(StorageTest, CarriesWhatProgramsDo) {
    EXPECT_EQ(handset.sh("cd /data && echo one > a && echo two >> a && mkdir -p d/e && mv a d/b && ln -s d/b l && cat l && "
                         "chmod 600 d/b && stat -c %a d/b && rmdir d/e && ls d && truncate -s 4 d/b && cat l && rm -r d l && ls"),
              "one\ntwo\n600\nb\none");
    EXPECT_EQ(handset.sh("cp /usr/bin/true /data/t && /data/t && echo runs && rm /data/t"), "runs"); // a file that is mapped
    EXPECT_EQ(handset.sh("cd /data; exec 3<>f; echo held >&3; rm f; echo on >&3; ls"), "");          // removed while open
    EXPECT_EQ(handset.sh("touch -d 2001-02-03 /data/f && stat -c %y /data/f | cut -c1-10; echo x >> /data/f; cat /data/f"),
              "2001-02-03\nx");
}

TEST_F(StorageTest, RefusesAsOrdered) {
    handset.sh("echo -n old > /cache/f");
    const auto attempt = [this](const char *fault, const char *commands) {
        EXPECT_TRUE(order({{"path", "/cache"}, {"fault", fault}}).value("ok", false)) << fault;
        return handset.sh(std::string("exec 2>&1; cd /cache; ") + commands);
    };
    EXPECT_NE(attempt("full=5", "echo -n 1234567 > g; cat g").find("12345"), std::string::npos);
    EXPECT_NE(attempt("full", "mkdir d; echo").find("No space left on device"), std::string::npos);
    EXPECT_EQ(attempt("full", "printf NEW 1<>f; cat f"), "NEW"); // needs no room
    EXPECT_NE(attempt("read-only", "rm f; cat f").find("Read-only file system"), std::string::npos);
    EXPECT_NE(attempt("eio", "cat f").find("Input/output error"), std::string::npos);
    EXPECT_EQ(attempt("none", "cat f; rm f g"), "NEW");
    EXPECT_FALSE(order({{"path", "/etc"}, {"fault", "full"}}).value("ok", true));
    EXPECT_FALSE(order({{"path", "/data"}, {"fault", "wet"}}).value("ok", true));
    EXPECT_FALSE(order({{"cut", {{"at", 1}, {"phase", "sometimes"}}}}).value("ok", true));
}

TEST_F(StorageTest, CountsAndCuts) {
    order({{"count", true}});
    handset.sh("echo -n OLD > /data/f; sync; rm /data/f");
    const nlohmann::json seen = order({{"list", true}}).at("operations");
    ASSERT_EQ(seen.size(), 4u) << seen;
    EXPECT_EQ(seen[0].at("kind"), "create");
    EXPECT_EQ(seen[2].at("kind"), "sync");
    EXPECT_FALSE(seen[2].value("unsynced", true));
    EXPECT_TRUE(seen[3].value("unsynced", false));

    handset.sh("echo -n OLD > /data/f");
    const std::string change = "echo -n LONGER > /data/f; rm /data/f; echo never > /data/g";
    cut(2, "before", "keep", change);
    EXPECT_EQ(data("f"), "");
    cut(2, "middle", "keep", "echo -n LONGER > /data/f; echo never > /data/g");
    EXPECT_EQ(data("f"), "LON");
    cut(3, "after", "keep", change);
    EXPECT_NE(access((handset.paths.data() + "/f").c_str(), F_OK), 0);
    handset.sh("echo -n OLD > /data/f");
    cut(3, "after", "lose", change);
    EXPECT_EQ(data("f"), "OLD");
    cut(4, "middle", "lose", "echo -n LONGER > /data/f; sync; rm /data/f; echo never > /data/g");
    EXPECT_EQ(data("f"), "LONGER");
    EXPECT_NE(access((handset.paths.data() + "/g").c_str(), F_OK), 0);
}

TEST_F(StorageTest, AnFsyncTakesEarlierNamesAlong) {
    handset.sh("echo -n OLD > /data/f");
    // The name n and the cut of f are durable with g; their data is not.
    cut(7, "after", "lose", "cd /data; echo -n NEW > f; echo new > n; dd if=/dev/zero of=g bs=3 count=1 conv=fsync");
    EXPECT_EQ(data("f") + data("n"), "");
    EXPECT_EQ(access((handset.paths.data() + "/n").c_str(), F_OK), 0);
    EXPECT_EQ(data("g").size(), 3u);
}

} // namespace
