// Threads that are asked to stop, and semaphores.
#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <tp_clock.h>
#include <tp_os.h>

namespace {
struct Shared {
    tp_os_sema_t sema = tp_os_sema_create(0);
    std::atomic<int> result{-2};
    std::atomic<int> result2{-2};
    ~Shared() { tp_os_sema_delete(sema); }
};

tp_os_thread_t start(void (*body)(void *), void *arg) {
    tp_os_thread_t thread = nullptr;
    EXPECT_EQ(tp_os_thread_create("a name that is too long", body, arg, &thread), 0);
    return thread;
}

// Every way to wait, interrupted at any moment around its beginning. A request that got lost hangs the test.
TEST(Threads, NoStopRequestIsLost) {
    void (*const bodies[])(void *) = {
        [](void *arg) { static_cast<Shared *>(arg)->result = tp_clock_sleep_or_stop_ns(INT64_MAX); },
        [](void *arg) { static_cast<Shared *>(arg)->result = tp_os_sema_get(static_cast<Shared *>(arg)->sema, -1) == 0; },
        [](void *arg) { static_cast<Shared *>(arg)->result = !(tp_clock_poll(nullptr, 0, -1) == -1 && errno == EINTR); },
    };
    for (int i = 0; i < 100; ++i) {
        for (auto *const body : bodies) {
            Shared shared;
            const tp_os_thread_t thread = start(body, &shared);
            if (i % 4) tp_clock_sleep_us(i % 4 * 20);
            tp_os_thread_interrupt(thread);
            tp_os_thread_join(thread);
            ASSERT_EQ(shared.result, 0);
        }
    }
}

TEST(Threads, AStoppingThreadCanStillWorkButNotLinger) {
    Shared shared;
    tp_os_sema_put(shared.sema);
    const tp_os_thread_t thread = start([](void *arg) {
        auto *s = static_cast<Shared *>(arg);
        while (!tp_os_thread_stop_requested()) {}
        const bool noticed = tp_clock_poll(nullptr, 0, 1'000'000) == -1;
        const bool then_waits = tp_clock_poll(nullptr, 0, 1'000'000) == 0; // to await a child, say
        tp_clock_sleep_ms(1);
        s->result = noticed && then_waits && !tp_clock_sleep_or_stop_ns(1);
        s->result2 = tp_os_sema_get(s->sema, -1) * 10 + tp_os_sema_get(s->sema, -1); // there is one count
    }, &shared);
    EXPECT_FALSE(tp_os_thread_finished(thread));
    tp_os_thread_interrupt(thread);
    while (!tp_os_thread_finished(thread)) tp_clock_sleep_ms(1);
    tp_os_thread_interrupt(thread);
    tp_os_thread_join(thread);
    EXPECT_EQ(shared.result, 1);
    EXPECT_EQ(shared.result2, -1);
    EXPECT_FALSE(tp_os_thread_stop_requested());
}

TEST(Threads, SemaphoresCountAndTimeOut) {
    const std::unique_ptr<TpSema, void (*)(TpSema *)> sema(tp_os_sema_create(2), tp_os_sema_delete);
    EXPECT_EQ(tp_os_sema_get(sema.get(), 0), 0);
    EXPECT_EQ(tp_os_sema_get(sema.get(), -1), 0);
    EXPECT_EQ(tp_os_sema_get(sema.get(), 0), -1);
    tp_clock_set_scale(1000);
    const int64_t from = tp_clock_mono_ns();
    EXPECT_EQ(tp_os_sema_get(sema.get(), 5000), -1);
    EXPECT_GE(tp_clock_mono_ns() - from, 5'000'000'000);
    tp_clock_set_scale(1);
    const tp_os_thread_t putter = start([](void *s) {
        tp_clock_sleep_ms(2);
        tp_os_sema_put(static_cast<tp_os_sema_t>(s));
    }, sema.get());
    EXPECT_EQ(tp_os_sema_get(sema.get(), -1), 0);
    tp_os_thread_join(putter);
}
} // namespace
