#include "launcher/state_dir.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/futex.h>
#include <sstream>
#include <stdexcept>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace fs = std::filesystem;

namespace vh {

namespace {
std::runtime_error failed(const std::string &what) { return std::runtime_error(what + ": " + strerror(errno)); }

std::string lock_file(const StatePaths &paths) { return paths.run() + "/launcher.pid"; }

std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void write_text(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

// Grows to the size when it is smaller; a partition keeps its content.
void make_partition(const std::string &path, off_t size, const std::string &content) {
    const Fd fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    struct stat info {};
    if (!fd || fstat(fd.get(), &info) != 0) throw failed(path);
    if (info.st_size == 0 && pwrite(fd.get(), content.data(), content.size(), 0) < 0) throw failed(path);
    if (info.st_size < size && ftruncate(fd.get(), size) != 0) throw failed(path);
}

void make_fifo(const std::string &path) {
    unlink(path.c_str());
    if (mkfifo(path.c_str(), 0600) != 0) throw failed(path);
}

// Sockets and logs of the last run. Kept: the lock, the launcher's own log, properties that persist.
void clean_run(const StatePaths &paths) {
    const std::string previous_log = paths.log() + ".1";
    std::error_code ignored;
    fs::rename(paths.log(), previous_log, ignored);
    for (const char *name : {"/pc.sock", "/control.sock"}) fs::remove(paths.run() + name, ignored);
    fs::remove_all(paths.run() + "/socket", ignored);
    fs::create_directories(paths.run() + "/socket");
    fs::create_directories(paths.run() + "/log");
    fs::create_directories(paths.props());
}

// The configuration that was asked for. A changed one also replaces what the handset made of the old one.
void install_config(const StatePaths &paths, const BootOptions &options, const std::string &asked, const char *name) {
    const std::string target = paths.etc() + "/" + name;
    if (asked == "none") {
        fs::remove(target);
        fs::remove(paths.sysrw() + "/upper/etc/" + name);
        return;
    }
    const std::string source = asked.empty() ? options.rootfs_dir + "/" + name : asked;
    if (!fs::exists(source)) {
        if (!asked.empty()) throw std::runtime_error("no such file: " + source);
        return;
    }
    const std::string fresh = target + ".new";
    install_text_gbk(source, fresh);
    const bool changed = !fs::exists(target) || content_of(fresh) != content_of(target);
    fs::rename(fresh, target);
    if (changed) fs::remove(paths.sysrw() + "/upper/etc/" + name);
}

void make_link(const std::string &target, const std::string &path) {
    std::error_code ignored;
    fs::remove(path, ignored);
    fs::create_symlink(target, path);
}

void build_image(const StatePaths &paths, const BootOptions &options) {
    const std::string image = image_dir(paths);
    remove_tree(image);
    for (const char *folder : {"/bin", "/etc", "/fonts", "/vendor/bin"}) fs::create_directories(image + folder);
    make_link("/bin/sh", image + "/bin/sh");
    make_link("/usr/bin/toybox", image + "/bin/toybox");
    make_link("/usr/share/fonts/truetype/wqy/wqy-microhei.ttc", image + "/fonts/song.ttc");
    make_link("/.host/ld.so.cache", image + "/etc/ld.so.cache");
    make_link("/.host/alternatives", image + "/etc/alternatives");
    write_text(image + "/bin/mmi", "#!/system/bin/sh\nexec /app/bin/mmi \"$@\"\n");
    write_text(image + "/etc/passwd", "root:x:0:0:root:/data:/system/bin/sh\nnobody:x:65534:65534::/:/bin/false\n");
    write_text(image + "/etc/group", "root:x:0:\nnogroup:x:65534:\n");
    write_text(image + "/etc/hosts", "127.0.0.1 localhost\n");
    const auto overwrite = fs::copy_options::recursive | fs::copy_options::copy_symlinks | fs::copy_options::overwrite_existing;
    if (fs::is_directory(options.rootfs_dir + "/system")) fs::copy(options.rootfs_dir + "/system", image, overwrite);
    for (const fs::directory_entry &file : fs::directory_iterator(image + "/bin"))
        if (!file.is_symlink())
            fs::permissions(file, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec, fs::perm_options::add);
    fs::copy(paths.etc(), image + "/etc", overwrite);
}

// A panel without power is dark. The file is never cut: a viewer may have it mapped, and waits on the counter. A panel of
// another size is another file.
void darken_panel(const StatePaths &paths, const BootOptions &options) {
    const Panel panel{options.width, options.height};
    struct stat before {};
    if (stat(paths.panel().c_str(), &before) == 0 && before.st_size != panel.file_size()) unlink(paths.panel().c_str());
    const Fd fd(open(paths.panel().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!fd || ftruncate(fd.get(), panel.file_size()) != 0) throw failed(paths.panel());
    if (fallocate(fd.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, panel.file_size()) != 0) {
        const std::string zeros(1 << 20, '\0');
        for (off_t at = 0; at < panel.file_size(); at += static_cast<off_t>(zeros.size())) {
            const auto left = static_cast<size_t>(panel.file_size() - at);
            if (pwrite(fd.get(), zeros.data(), std::min(zeros.size(), left), at) < 0) throw failed(paths.panel());
        }
    }
    void *tail = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), panel.file_size() - 4096);
    if (tail == MAP_FAILED) return;
    constexpr size_t COUNTER = 2; // struct tki_panel_tail: the third word
    syscall(SYS_futex, static_cast<uint32_t *>(tail) + COUNTER, FUTEX_WAKE, INT32_MAX, nullptr, nullptr, 0);
    munmap(tail, 4096);
}

void set_boot_properties(const StatePaths &paths, const BootOptions &options, const std::string &clock) {
    for (const fs::directory_entry &file : fs::directory_iterator(paths.props()))
        if (!file.path().filename().string().starts_with("persist.")) fs::remove(file);
    std::map<std::string, std::string> values{{"ro.bootmode", options.bootmode}, {"ro.product.locale", "en-US"}};
    if (!clock.empty()) values["ro.vxo.clock"] = clock;
    for (const auto &[key, value] : options.props) values[key] = value;
    for (const auto &[key, value] : values) {
        if (key.empty() || key[0] == '.' || key.find('/') != std::string::npos)
            throw std::runtime_error("not a property's name: '" + key + "'");
        write_text(paths.props() + "/" + key, value);
    }
}
} // namespace

std::string image_dir(const StatePaths &paths) { return paths.root + "/image"; }
std::string mount_dir(const StatePaths &paths) { return paths.run() + "/kernel"; }
std::string storage_dir(const StatePaths &paths) { return paths.run() + "/storage"; }

Fd lock_state(const StatePaths &paths) {
    fs::create_directories(paths.run());
    Fd fd(open(lock_file(paths).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!fd) throw failed(lock_file(paths));
    if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return Fd();
    const std::string pid = std::to_string(getpid()) + "\n";
    if (ftruncate(fd.get(), 0) != 0 || pwrite(fd.get(), pid.data(), pid.size(), 0) < 0) throw failed(lock_file(paths));
    return fd;
}

bool is_running(const StatePaths &paths) {
    const Fd fd(open(lock_file(paths).c_str(), O_RDONLY | O_CLOEXEC));
    return fd && flock(fd.get(), LOCK_SH | LOCK_NB) != 0;
}

void prepare_state(const StatePaths &paths, const BootOptions &options) {
    if (options.width < 16 || options.height < 16 || options.width > 8192 || options.height > 8192)
        throw std::runtime_error("a panel has 16 to 8192 pixels each way");
    if (!(options.speed >= 1)) throw std::runtime_error("the speed is a factor of at least 1");
    if (options.storage != "direct" && options.storage != "faults")
        throw std::runtime_error("the storage is 'direct' or takes 'faults', not '" + options.storage + "'");
    clean_run(paths);
    for (const std::string &folder : {paths.data(), paths.cache(), paths.sysrw() + "/upper", paths.sysrw() + "/work",
                                      paths.etc(), paths.root + "/part", paths.root + "/dev", paths.sounds(), paths.cameras(), paths.shown_cameras(), paths.air(),
                                      mount_dir(paths), storage_dir(paths), paths.run() + "/instead"})
        fs::create_directories(folder);
    make_partition(paths.part("vxocfg"), 16384, "");
    make_partition(paths.part("vxoflag"), 4096, "");
    make_partition(paths.part("vxoprod"), 4096,
                   "soft=V1.0.0\nsoft_internal=V1.0.0.1\nhard=V1.0\npsn=PSN0000000001\nboard=BOARD0000001\nflash=64G+4G\n");
    make_fifo(paths.event(0));
    make_fifo(paths.event(1));
    install_config(paths, options, options.config, "tki_config.ini");
    install_config(paths, options, options.language, "tki_language.ini");
}

void prepare_boot(const StatePaths &paths, const BootOptions &options, const std::string &clock) {
    build_image(paths, options);
    darken_panel(paths, options);
    set_boot_properties(paths, options, clock);
}

void remove_tree(const std::string &folder) {
    std::error_code ignored;
    // An overlay leaves a folder without any permission in its work folder.
    fs::permissions(folder + "/sysrw/work/work", fs::perms::owner_all, ignored);
    fs::remove_all(folder, ignored);
}

bool wipe_state(const StatePaths &paths) {
    if (is_running(paths)) return false;
    remove_tree(paths.root);
    return true;
}

} // namespace vh
