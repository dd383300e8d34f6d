// Cameras: which device a camera is, and the thread that hands its pictures out. The pictures are lib_vxo_camera.so's.
#include <atomic>
#include <camera/camera.h>
#include <common/callback_thread.h>
#include <common/file.h>
#include <dlfcn.h>
#include <factory/api.h>
#include <factory/versions.h>

namespace {
constexpr const char *LIBRARY = "lib_vxo_camera.so";
constexpr int64_t LOOK_FOR_STOP_NS = 100000000;
constexpr int CAMERAS = 3;
constexpr const char *DEVICES[CAMERAS] = {"/dev/video0", "/dev/video1", "/dev/video2"};
constexpr int BOARD_ORDER[CAMERAS] = {TKI_CAMERA_BACK, TKI_CAMERA_FRONT, TKI_CAMERA_AUX};

struct Functions {
    VxoCameraOpen open = nullptr;
    VxoCameraNext next = nullptr;
    VxoCameraAutofocus autofocus = nullptr;
    VxoCameraClose close = nullptr;
};

Functions load() {
    Functions found;
    void *handle = dlopen(LIBRARY, RTLD_NOW);
    if (!handle) {
        HAL_LOG_E(FACTORY_TAG, "cameras not fitted: %s; put %s next to lib_factory.so, and libpng", dlerror(), LIBRARY);
        return found;
    }
    found.open = reinterpret_cast<VxoCameraOpen>(dlsym(handle, "vxo_camera_open"));
    found.next = reinterpret_cast<VxoCameraNext>(dlsym(handle, "vxo_camera_next"));
    found.autofocus = reinterpret_cast<VxoCameraAutofocus>(dlsym(handle, "vxo_camera_autofocus"));
    found.close = reinterpret_cast<VxoCameraClose>(dlsym(handle, "vxo_camera_close"));
    if (found.open && found.next && found.autofocus && found.close) return found;
    HAL_LOG_E(FACTORY_TAG, "%s is not the one that belongs to this library", LIBRARY);
    return {};
}

const Functions *functions() {
    static std::mutex lock;
    static Functions loaded;
    const std::lock_guard guard(lock);
    if (!loaded.open) loaded = load();
    return loaded.open ? &loaded : nullptr;
}

class Camera {
public:
    Camera(const Functions *f, int number) : f_(f), camera_(f->open(DEVICES[number])) {}
    ~Camera() {
        if (camera_) f_->close(camera_);
    }
    bool valid() const { return camera_; }
    int next(tki_camera_frame &frame) { return f_->next(camera_, &frame, LOOK_FOR_STOP_NS); }
    int autofocus() { return f_->autofocus(camera_); }

private:
    const Functions *const f_;
    VxoCamera *const camera_;
};

hal::CallbackThread g_thread;
std::mutex g_lock;
std::shared_ptr<Camera> g_camera; // the one that runs
std::atomic<bool> g_snapshot{false};

void watch(hal::CallbackThread::Run &run, Camera &camera, tki_callback cb) {
    tki_camera_frame frame{};
    while (!run.stop.wait(0)) {
        const int result = camera.next(frame);
        if (result < 0) {
            run.tell(cb, TKI_MODULE_CAMERA, -1, nullptr);
            return;
        }
        if (result == 0) continue;
        frame.snapshot = g_snapshot.exchange(false) ? 1 : 0;
        run.tell(cb, TKI_MODULE_CAMERA, 0, &frame);
    }
}

std::shared_ptr<Camera> running() {
    const std::lock_guard guard(g_lock);
    return g_camera;
}
void set_running(std::shared_ptr<Camera> camera) {
    const std::lock_guard guard(g_lock);
    g_camera = std::move(camera);
}

// The text by which the sensor on the board knows itself.
bool identifier_agrees(int camera) {
    const std::string number = std::to_string(camera), path = "/sys/class/video4linux/video" + number + "/name";
    const auto name = hal::read_attribute(path.c_str());
    if (!name || name->empty()) {
        HAL_LOG_E(FACTORY_TAG, "camera %d not fitted: no identifier in %s", camera, path.c_str());
        return false;
    }
    const auto wanted = factory::product_text("camera" + number);
    if (!wanted || wanted->empty() || *wanted == *name) return true;
    HAL_LOG_E(FACTORY_TAG, "camera %d is '%s', the board wants '%s'", camera, name->c_str(), wanted->c_str());
    return false;
}
} // namespace

TKI_API(int) tki_api_camera_test_start(int camera, tki_callback cb) noexcept {
    if (camera < 0 || camera >= CAMERAS || !cb) {
        HAL_LOG_E(FACTORY_TAG, "no camera %d (0 back, 1 auxiliary, 2 front), or nobody to tell", camera);
        return -1;
    }
    g_thread.stop(); // a device is opened once
    set_running(nullptr);
    const Functions *f = functions();
    if (!f) return -1;
    auto opened = std::make_shared<Camera>(f, camera);
    if (!opened->valid()) return -1;
    g_snapshot = false;
    set_running(opened);
    if (g_thread.start(FACTORY_TAG, "camera", [opened, cb](hal::CallbackThread::Run &run) { watch(run, *opened, cb); })) return 0;
    set_running(nullptr);
    return -1;
}

TKI_API(int) tki_api_camera_test_stop() noexcept {
    g_thread.stop();
    set_running(nullptr);
    return 0;
}

TKI_API(int) tki_api_camera_start_capture() noexcept {
    if (!running()) return -1;
    g_snapshot = true;
    return 0;
}

TKI_API(int) tki_api_camera_do_autofocus() noexcept {
    const auto camera = running();
    return camera ? camera->autofocus() : -1;
}

TKI_API(int) tki_api_cameraID_test(int count, int all) noexcept {
    if (count < 1 || count > all || all > CAMERAS) {
        HAL_LOG_E(FACTORY_TAG, "no %d of %d cameras, at most %d", count, all, CAMERAS);
        return -1;
    }
    bool agree = true;
    for (int i = 0; i < count; ++i) agree &= identifier_agrees(BOARD_ORDER[i]);
    return agree ? 0 : -1;
}
