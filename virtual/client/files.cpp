// Copies files in and out of /data and /cache through the state folder. What lies there was written by the handset, so it
// is resolved below its folder and without links.
#include "client/client.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vh {

namespace {
struct Place {
    Fd folder;            // of /data or /cache
    std::string relative; // below it
};

Place place_of(const Client &client, const std::string &path) {
    for (const char *root : {"/data", "/cache"}) {
        const std::string prefix = std::string(root) + "/";
        if (path != root && !path.starts_with(prefix)) continue;
        const std::string host = prefix == "/data/" ? client.paths().data() : client.paths().cache();
        Fd fd(open(host.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!fd) throw ClientError("handset '" + client.name() + "' does not exist yet; create it with: ./handset boot");
        std::string relative = path.size() > prefix.size() ? path.substr(prefix.size()) : ".";
        return {std::move(fd), std::move(relative)};
    }
    throw ClientError("'" + path + "' is not below /data or /cache; for other files use: ./handset shell \"cat FILE\"");
}

Fd open_below(const Place &place, const std::string &relative, int flags) {
    open_how how{};
    how.flags = static_cast<uint64_t>(flags | O_CLOEXEC | O_NONBLOCK);
    how.mode = (flags & O_CREAT) ? 0644 : 0;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return Fd(static_cast<int>(syscall(SYS_openat2, place.folder.get(), relative.c_str(), &how, sizeof how)));
}

void require_file(int fd, const std::string &path) {
    struct stat s{};
    if (fstat(fd, &s) != 0 || !S_ISREG(s.st_mode)) throw ClientError("'" + path + "' is not a file");
}

void copy(int from, int to, const std::string &what) {
    char buffer[65536];
    for (;;) {
        const ssize_t n = read(from, buffer, sizeof buffer);
        if (n == 0) return;
        for (ssize_t done = 0; n > 0 && done < n;) {
            const ssize_t w = write(to, buffer + done, static_cast<size_t>(n - done));
            if (w <= 0) throw ClientError("cannot write " + what + ": " + strerror(errno));
            done += w;
        }
        if (n < 0 && errno != EINTR) throw ClientError("cannot read " + what + ": " + strerror(errno));
    }
}
} // namespace

void Client::push(const std::string &source, const std::string &destination) const {
    Fd from(open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (!from) throw ClientError("cannot read " + source + ": " + strerror(errno));
    require_file(from.get(), source);
    const Place place = place_of(*this, destination);
    std::string relative = place.relative;
    if (relative.back() == '/' || open_below(place, relative, O_RDONLY | O_DIRECTORY))
        relative += "/" + std::filesystem::path(source).filename().string();
    Fd to = open_below(place, relative, O_WRONLY | O_CREAT | O_TRUNC);
    if (!to)
        throw ClientError("cannot write " + destination + " on the handset: " + strerror(errno) +
                          " (links are not followed; make folders with: ./handset shell \"mkdir -p ...\")");
    copy(from.get(), to.get(), destination);
}

Fd Client::open_file(const std::string &source) const {
    const Place place = place_of(*this, source);
    Fd from = open_below(place, place.relative, O_RDONLY);
    if (!from) throw ClientError("cannot read " + source + " on the handset: " + strerror(errno) + " (links are not followed)");
    require_file(from.get(), source);
    return from;
}

void Client::pull(const std::string &source, const std::string &destination) const {
    const Fd from = open_file(source);
    if (destination == "-") return copy(from.get(), STDOUT_FILENO, source);
    std::filesystem::path target = destination;
    if (std::filesystem::is_directory(target)) target /= std::filesystem::path(source).filename();
    Fd to(open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!to) throw ClientError("cannot write " + target.string() + ": " + strerror(errno));
    copy(from.get(), to.get(), source);
}

std::string Client::content(const std::string &source) const {
    constexpr size_t MOST = 64 << 20;
    const Place place = place_of(*this, source);
    const Fd from = open_below(place, place.relative, O_RDONLY);
    std::string text;
    if (!from) return text;
    require_file(from.get(), source);
    char buffer[65536];
    for (ssize_t n; text.size() < MOST && (n = read(from.get(), buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
    return text;
}

} // namespace vh
