// Files: requests of a four-letter name, a length and that many bytes, on one stream.
#include "bridge/packet.h"
#include "bridge/services.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>

namespace bridge {

namespace {
constexpr uint32_t STAT = word("STAT"), LIST = word("LIST"), DENT = word("DENT"), SEND = word("SEND"), RECV = word("RECV"),
                   DATA = word("DATA"), DONE = word("DONE"), FAIL = word("FAIL"), QUIT = word("QUIT");
constexpr size_t MAX_PATH = 1024;
constexpr size_t MAX_PIECE = 64 * 1024;

bool receive_all(int socket, char *to, size_t count) {
    while (count > 0) {
        const ssize_t n = recv(socket, to, count, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        to += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

struct Request {
    uint32_t name = 0, number = 0;
};

bool receive_request(int socket, Request &request) {
    char bytes[8];
    if (!receive_all(socket, bytes, sizeof bytes)) return false;
    request = {get_word(bytes), get_word(bytes + 4)};
    return true;
}

bool reply(int socket, uint32_t name, std::string_view bytes) {
    std::string text;
    put_word(text, name);
    put_word(text, static_cast<uint32_t>(bytes.size()));
    return send_all(socket, text.append(bytes));
}

bool fail(int socket, const std::string &path, int error) { return reply(socket, FAIL, path + ": " + strerror(error)); }

// Mode, size and time of the last change, without following a link; zeros when there is nothing.
std::string description(const std::string &path) {
    struct stat s {};
    if (lstat(path.c_str(), &s) != 0) s = {};
    std::string words;
    for (const uint64_t value : {static_cast<uint64_t>(s.st_mode), static_cast<uint64_t>(s.st_size),
                                 static_cast<uint64_t>(s.st_mtim.tv_sec)})
        put_word(words, static_cast<uint32_t>(value));
    return words;
}

bool tell_description(int socket, const std::string &path) {
    std::string text;
    put_word(text, STAT);
    return send_all(socket, text + description(path));
}

bool list_folder(int socket, const std::string &path) {
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(path.c_str()), closedir);
    while (const dirent *entry = folder ? readdir(folder.get()) : nullptr) {
        std::string text;
        put_word(text, DENT);
        text += description(path + "/" + entry->d_name);
        const std::string_view name(entry->d_name);
        put_word(text, static_cast<uint32_t>(name.size()));
        if (!send_all(socket, text.append(name))) return false;
    }
    std::string end;
    put_word(end, DONE);
    return send_all(socket, end.append(16, '\0'));
}

bool send_file(int socket, const std::string &path) {
    const vh::Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return fail(socket, path, errno);
    std::string bytes(MAX_PIECE, '\0');
    for (;;) {
        const ssize_t n = read(file.get(), bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return fail(socket, path, errno);
        if (n == 0) return reply(socket, DONE, {});
        if (!reply(socket, DATA, {bytes.data(), static_cast<size_t>(n)})) return false;
    }
}

// A file on its way in. The first error is kept; what comes behind it is dropped.
class Incoming {
public:
    Incoming(std::string path, mode_t mode) : path_(std::move(path)), mode_(mode) {
        std::error_code ignored; // the open tells
        std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
        if (S_ISLNK(mode_)) return;
        file_.reset(open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode_ & 0777));
        if (!file_) error_ = errno;
        else fchmod(file_.get(), mode_ & 0777); // also of one that was there
    }

    void take(std::string_view bytes) {
        if (S_ISLNK(mode_)) {
            if (target_.size() + bytes.size() > MAX_PATH) error_ = ENAMETOOLONG;
            else target_ += bytes;
        }
        while (file_ && !error_ && !bytes.empty()) {
            const ssize_t n = write(file_.get(), bytes.data(), bytes.size());
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                error_ = errno;
                unlink(path_.c_str()); // half a file is none
            } else {
                bytes.remove_prefix(static_cast<size_t>(n));
            }
        }
    }

    // 0, or an errno.
    int finish(uint32_t changed) {
        if (!error_ && S_ISLNK(mode_)) {
            while (!target_.empty() && target_.back() == '\0') target_.pop_back();
            unlink(path_.c_str());
            if (symlink(target_.c_str(), path_.c_str()) != 0) error_ = errno;
        } else if (!error_) {
            const timespec times[2] = {{static_cast<time_t>(changed), 0}, {static_cast<time_t>(changed), 0}};
            futimens(file_.get(), times);
        }
        return error_;
    }

private:
    const std::string path_;
    const mode_t mode_;
    vh::Fd file_;
    std::string target_; // of a link
    int error_ = 0;
};

// what: "PATH,MODE", the mode in decimal digits.
bool receive_file(int socket, const std::string &what) {
    const size_t comma = what.rfind(',');
    mode_t mode = S_IFREG | 0644;
    const std::string path = what.substr(0, comma);
    if (comma != what.npos) std::from_chars(what.data() + comma + 1, what.data() + what.size(), mode);
    Incoming file(path, mode);
    std::string bytes;
    for (Request piece; receive_request(socket, piece);) {
        if (piece.name == DONE) {
            const int error = file.finish(piece.number);
            return error ? fail(socket, path, error) : reply(socket, word("OKAY"), {});
        }
        if (piece.name != DATA || piece.number > MAX_PIECE) {
            reply(socket, FAIL, "not a piece of a file, or more than 64 KiB");
            return false;
        }
        bytes.resize(piece.number);
        if (!receive_all(socket, bytes.data(), bytes.size())) return false;
        file.take(bytes);
    }
    return false;
}
} // namespace

void serve_files(int socket) {
    for (Request request; receive_request(socket, request);) {
        if (request.name == QUIT) return;
        if (request.number > MAX_PATH) {
            reply(socket, FAIL, "a path has at most 1024 bytes");
            return;
        }
        std::string path(request.number, '\0');
        if (!receive_all(socket, path.data(), path.size())) return;
        bool goes_on = false;
        if (request.name == STAT) goes_on = tell_description(socket, path);
        else if (request.name == LIST) goes_on = list_folder(socket, path);
        else if (request.name == RECV) goes_on = send_file(socket, path);
        else if (request.name == SEND) goes_on = receive_file(socket, path);
        else reply(socket, FAIL, "unknown request");
        if (!goes_on) return;
    }
}

} // namespace bridge
