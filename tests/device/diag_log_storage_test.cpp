// The diagnostic log on a storage that takes half a line.
#include "device/diag_log.h"

#include <csignal>
#include <gtest/gtest.h>
#include <support/files.h>
#include <sys/resource.h>

namespace {

// While it lives no file of this process grows beyond the size: as on a storage that is full there.
class RoomFor {
public:
    explicit RoomFor(rlim_t bytes) : before_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &limit_);
        const rlimit small{bytes, limit_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~RoomFor() {
        setrlimit(RLIMIT_FSIZE, &limit_);
        signal(SIGXFSZ, before_);
    }

private:
    rlimit limit_{};
    void (*before_)(int);
};

TEST(DiagLogStorage, NoLineIsTorn) {
    const std::string path = testing::TempDir() + "torn.log";
    files::put(path, "a line that the power c");
    FILE *log = nullptr;
    ASSERT_EQ(init_tki_log(&log, testing::TempDir().c_str(), "torn.log"), 0);
    EXPECT_EQ(writetkilog_NoTime(log, "T", "first"), 0);
    const std::string whole = "a line that the power c\n[T]\nfirst\n";
    {
        const RoomFor room(whole.size() + 6);
        EXPECT_EQ(writetkilog_NoTime(log, "T", "has no room"), -1);
        EXPECT_EQ(writetkilog_NoTime(log, "T", "nor has this"), -1);
        EXPECT_EQ(files::get(path), whole);
    }
    EXPECT_EQ(writetkilog_NoTime(log, "T", "again"), 0);
    EXPECT_EQ(files::get(path), whole + "[T]\nagain\n");
    uninit_tkilog(log);
    remove(path.c_str());
}

} // namespace
