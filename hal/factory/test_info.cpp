// The handset's identity and its verdicts, delivered asynchronously by one callback on a thread of the library.
//
// Callbacks take turns, so that whoever is inside one knows that no other runs: cancelling is then enough to stop,
// and a callback may itself stop or ask anew. Everybody else joins the threads.
#include <cerrno>
#include <common/event.h>
#include <condition_variable>
#include <cstring>
#include <factory/api.h>
#include <factory/flags.h>
#include <factory/versions.h>
#include <list>
#include <memory>
#include <mutex>
#include <tp_os.h>

namespace {
struct Request {
    explicit Request(tki_callback receiver) : cb(receiver) {}
    const tki_callback cb;
    bool cancelled = false;
    tp_os_thread_t thread = nullptr; // taken by whoever joins it
    hal::Event over;
};

std::mutex g_lock;
std::condition_variable g_turn;
bool g_in_callback = false;
std::list<std::shared_ptr<Request>> g_requests; // not joined yet
thread_local bool t_inside_callback = false;

void copy_text(std::span<char> out, const std::optional<std::string> &text) {
    if (!text) return;
    const size_t length = std::min(text->size(), out.size() - 1);
    memcpy(out.data(), text->data(), length);
}

int collect(tki_testinfo_record &record) {
    const bool flags = factory::flags_read(record.flags);
    const auto texts = factory::product_texts_read();
    if (texts) {
        copy_text(record.software_version, texts->software);
        copy_text(record.hardware_version, texts->hardware);
        copy_text(record.psn, texts->psn);
        copy_text(record.boardnum, texts->board);
        copy_text(record.flash_info, texts->flash);
    }
    return flags && texts ? 0 : -1;
}

void deliver(Request &request, tki_module_data &data) {
    std::unique_lock guard(g_lock);
    g_turn.wait(guard, [&] { return !g_in_callback || request.cancelled; });
    if (request.cancelled) return;
    g_in_callback = t_inside_callback = true;
    guard.unlock();
    request.cb(&data);
    guard.lock();
    g_in_callback = t_inside_callback = false;
    g_turn.notify_all();
}

void answer(void *arg) {
    const std::unique_ptr<std::shared_ptr<Request>> request(static_cast<std::shared_ptr<Request> *>(arg));
    tki_testinfo_record record{};
    tki_module_data data{TKI_MODULE_TESTINFO, 0, &record};
    data.result = collect(record);
    deliver(**request, data);
    (*request)->over.set();
}

void finish(const std::shared_ptr<Request> &request, tp_os_thread_t thread) {
    if (!thread) { // another thread is joining it
        hal::wait_answering(request->over, -1);
        return;
    }
    tp_os_thread_join(thread);
    const std::lock_guard guard(g_lock);
    g_requests.remove(request);
}

void stop_all() {
    std::list<std::pair<std::shared_ptr<Request>, tp_os_thread_t>> ending;
    {
        const std::lock_guard guard(g_lock);
        for (const auto &request : g_requests) request->cancelled = true;
        g_turn.notify_all();
        if (t_inside_callback) return;
        for (const auto &request : g_requests) ending.emplace_back(request, std::exchange(request->thread, nullptr));
    }
    for (const auto &[request, thread] : ending) finish(request, thread);
}
} // namespace

TKI_API(int) tki_api_Get_TestInfo(tki_callback cb) noexcept {
    if (!cb) return -1;
    stop_all();
    auto request = std::make_shared<Request>(cb);
    if (!request->over.valid()) {
        HAL_LOG_E(FACTORY_TAG, "%s", strerror(errno));
        return -1;
    }
    auto *owned_by_thread = new std::shared_ptr<Request>(request);
    const std::lock_guard guard(g_lock);
    const int failure = tp_os_thread_create("testinfo", answer, owned_by_thread, &request->thread);
    if (failure != 0) {
        delete owned_by_thread;
        HAL_LOG_E(FACTORY_TAG, "thread: %s", strerror(failure));
        return -1;
    }
    g_requests.push_back(std::move(request));
    return 0;
}

TKI_API(int) tki_api_Get_TestInfo_Stop() noexcept {
    stop_all();
    return 0;
}
