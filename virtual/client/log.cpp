#include "client/client.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/inotify.h>
#include <sys/stat.h>

namespace vh {

LogFollower::LogFollower(std::string path, bool from_start)
    : path_(std::move(path)), inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    // The folder is watched, not the file: a boot may replace the file.
    const std::string folder = path_.substr(0, path_.rfind('/'));
    if (inotify_add_watch(inotify_.get(), folder.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO) < 0)
        throw ClientError("there is no log yet (" + folder + ": " + strerror(errno) + "); boot the handset first: ./handset boot");
    reopen();
    if (!from_start && file_) lseek(file_.get(), 0, SEEK_END);
}

// Opens the file if it is a new one, or begins again when it was cut.
void LogFollower::reopen() {
    struct stat now{}, held{};
    if (stat(path_.c_str(), &now) != 0) return;
    const bool same = file_ && fstat(file_.get(), &held) == 0 && held.st_ino == now.st_ino && held.st_dev == now.st_dev;
    if (!same) {
        file_.reset(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
        partial_.clear();
    } else if (lseek(file_.get(), 0, SEEK_CUR) > now.st_size) {
        lseek(file_.get(), 0, SEEK_SET);
        partial_.clear();
    }
}

std::vector<std::string> LogFollower::lines(int timeout_ms) {
    std::vector<std::string> found;
    for (int round = 0; round < 2 && found.empty(); ++round) {
        if (round == 1) {
            pollfd p{inotify_.get(), POLLIN, 0};
            if (poll(&p, 1, timeout_ms) <= 0) return found;
            char events[4096];
            while (read(inotify_.get(), events, sizeof events) > 0) {}
        }
        char buffer[65536];
        ssize_t n = 0;
        const auto drain = [&] {
            while (file_ && (n = read(file_.get(), buffer, sizeof buffer)) > 0) partial_.append(buffer, static_cast<size_t>(n));
            size_t begin = 0;
            for (size_t end; (end = partial_.find('\n', begin)) != std::string::npos; begin = end + 1)
                found.push_back(partial_.substr(begin, end - begin));
            partial_.erase(0, begin);
        };
        drain(); // the rest of the old file first
        reopen();
        drain();
    }
    return found;
}

bool log_line_matches(const std::string &line, const std::string &level, const std::string &tag) {
    static const std::string ORDER = "VDIWEF";
    std::istringstream words(line);
    std::string date, time, pid, tid, priority;
    if (!(words >> date >> time >> pid >> tid >> priority) || priority.size() != 1) return level.empty() && tag.empty();
    if (!level.empty() && ORDER.find(priority) < ORDER.find(level)) return false;
    if (tag.empty()) return true;
    std::string rest;
    std::getline(words, rest);
    return rest.starts_with(" " + tag + ":");
}

} // namespace vh
