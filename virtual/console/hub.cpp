#include "console/hub.h"

#include "report/handset_files.h"

#include <algorithm>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

namespace vh::console {

using nlohmann::json;
namespace asio = boost::asio;

namespace {
constexpr size_t LONGEST_LINE = 8 << 20; // of a launcher
constexpr size_t LOG_KEPT = 3000;
constexpr off_t LOG_BEGINS = 512 << 10, TREND_BEGINS = 256 << 10; // so much of what was there before is shown
constexpr int TRIES = 20;

// From an offset to the end; nothing where it cannot be read.
std::string read_from(const Fd &file, off_t &offset) {
    std::string text;
    char bytes[65536];
    for (ssize_t n; (n = pread(file.get(), bytes, sizeof bytes, offset)) > 0; offset += n) text.append(bytes, static_cast<size_t>(n));
    return text;
}
} // namespace

Hub::Hub(asio::io_context &io, FileEvents &events, const std::string &name)
    : io_(io), events_(events), client_(name), retry_(io), status_({{"state", "stopped"}}) {}

void Hub::add(HubListener &listener) {
    listeners_.insert(&listener);
    if (listeners_.size() == 1) {
        look_at_flags();
        connect();
    }
}

void Hub::remove(HubListener &listener) {
    listeners_.erase(&listener);
    if (!listeners_.empty()) return wants_changed();
    // Nobody looks: nothing is followed, and nothing wakes us.
    watch_.reset();
    state_watch_.reset();
    run_watch_.reset();
    part_watch_.reset();
    retry_.cancel();
    wants_changed();
}

bool Hub::anybody(bool (HubListener::*wants)(const Hub &) const) const {
    return std::any_of(listeners_.begin(), listeners_.end(), [&](HubListener *listener) { return (listener->*wants)(*this); });
}

void Hub::wants_changed() {
    follow_screen();
    follow_log();
    follow_trend();
}

json Hub::status() const { return status_; }

json Hub::attributes() const {
    json all = json::array();
    for (const auto &[path, described] : attributes_) all.push_back(described);
    return all;
}

// ---- the launcher ----

void Hub::connect() {
    if (watch_ || listeners_.empty()) return;
    // A launcher that is still to come makes its socket here; the folder itself comes with the first boot.
    run_watch_.reset();
    state_watch_.reset();
    const auto again = [this](const std::string &name) {
        if (name != "control.sock" && name != "run" && name != "part") return;
        tries_ = 0;
        connect();
    };
    run_watch_ = events_.watch(client_.paths().run(), IN_CREATE | IN_MOVED_TO | IN_ONLYDIR, again);
    if (!run_watch_) state_watch_ = events_.watch(client_.paths().root, IN_CREATE | IN_ONLYDIR, again);
    Fd fd(connect_unix(client_.paths().control_socket()));
    if (!fd) {
        // The name appears before anybody listens.
        if (errno == ECONNREFUSED && tries_++ < TRIES) {
            retry_.expires_after(std::chrono::milliseconds(25));
            retry_.async_wait([self = shared_from_this()](const boost::system::error_code &error) {
                if (!error) self->connect();
            });
        }
        return;
    }
    watch_ = std::make_unique<asio::local::stream_protocol::socket>(io_);
    boost::system::error_code error;
    watch_->assign(asio::local::stream_protocol(), fd.release(), error);
    incoming_.consume(incoming_.size());
    asio::write(*watch_, asio::buffer(std::string("{\"op\":\"watch\"}\n")), error);
    if (error) return lost();
    read_watch();
}

void Hub::read_watch() {
    asio::async_read_until(*watch_, incoming_, '\n',
                           [self = shared_from_this(), socket = watch_.get()](const boost::system::error_code &error, size_t bytes) {
        if (self->watch_.get() != socket) return;
        if (error || bytes > LONGEST_LINE) return self->lost();
        const auto *data = static_cast<const char *>(self->incoming_.data().data());
        const std::string line(data, bytes);
        self->incoming_.consume(bytes);
        self->take_line(line);
        if (self->watch_.get() == socket) self->read_watch();
    });
}

void Hub::lost() {
    watch_.reset();
    status_ = {{"state", "stopped"}};
    attributes_.clear();
    for (HubListener *listener : std::set(listeners_)) listener->status_came(*this);
    follow_screen();
    tries_ = 0;
    connect();
}

void Hub::take_line(const std::string &line) {
    const json message = json::parse(line, nullptr, false);
    if (!message.is_object()) return;
    if (const auto attributes = message.find("attributes"); attributes != message.end() && attributes->is_array()) {
        for (const json &described : *attributes)
            if (described.is_array() && !described.empty() && described[0].is_string()) attributes_[described[0]] = described;
        for (HubListener *listener : std::set(listeners_)) listener->attributes_came(*this, *attributes);
    }
    if (const auto status = message.find("status"); status != message.end() && status->is_object()) {
        status_ = *status;
        look_at_flags();
        follow_screen();
        for (HubListener *listener : std::set(listeners_)) listener->status_came(*this);
    }
    if (message.value("hardware", false))
        for (HubListener *listener : std::set(listeners_)) listener->hardware_came(*this);
}

// ---- result flags ----

void Hub::look_at_flags() {
    if (!part_watch_)
        part_watch_ = events_.watch(client_.paths().root + "/part", IN_MODIFY | IN_ONLYDIR, [this](const std::string &name) {
            if (name == "vxoflag") look_at_flags();
        });
    FlagArea now{};
    const Fd fd(open(client_.paths().part("vxoflag").c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (fd && pread(fd.get(), now.data(), now.size(), 0) != static_cast<ssize_t>(now.size())) return;
    if (now == flags_) return;
    flags_ = now;
    for (HubListener *listener : std::set(listeners_)) listener->flags_came(*this);
}

// ---- screen ----

void Hub::follow_screen() {
    const bool wanted = anybody(&HubListener::wants_screen) && status_.value("state", "") != "stopped";
    if (screen_ && (!wanted || !screen_->is_current())) screen_.reset();
    if (!wanted || screen_) return;
    try {
        screen_ = std::make_unique<PanelWatch>(client_.paths().panel(), [this, weak = weak_from_this()] {
            asio::post(io_, [weak] {
                if (const std::shared_ptr<Hub> self = weak.lock()) self->share_frame();
            });
        });
    } catch (const std::exception &) { // before its first boot; looked for again at the next change of its status
    }
}

void Hub::share_frame() {
    if (!screen_) return;
    screen_->take([this](const Image &image, const std::vector<Rect> &changes) {
        for (HubListener *listener : std::set(listeners_)) listener->frame_came(*this, image, changes);
    });
    if (anybody(&HubListener::awaits_frame)) screen_->want();
}

// ---- log ----

void Hub::follow_log() {
    const bool wanted = anybody(&HubListener::wants_log);
    if (!wanted) {
        log_watch_.reset();
        log_.reset();
        log_lines_.clear();
        log_partial_.clear();
        return;
    }
    if (log_watch_) return;
    log_watch_ = events_.watch(client_.paths().run() + "/log", IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_ONLYDIR,
                               [this](const std::string &name) {
                                   if (name == "main.log") read_log(true);
                               });
    read_log(false);
}

void Hub::tell_log(HubListener &listener) const { listener.log_came(const_cast<Hub &>(*this), log_lines_); }

// A boot may put a new file in the old one's place; the rest of the old one comes first.
void Hub::read_log(bool tell) {
    std::vector<std::string> lines;
    const auto drain = [&] {
        char bytes[65536];
        for (ssize_t n; log_ && (n = read(log_.get(), bytes, sizeof bytes)) > 0;) log_partial_.append(bytes, static_cast<size_t>(n));
        size_t begin = 0;
        for (size_t end; (end = log_partial_.find('\n', begin)) != std::string::npos; begin = end + 1)
            lines.push_back(log_partial_.substr(begin, end - begin));
        log_partial_.erase(0, begin);
        if (log_partial_.size() > 65536) log_partial_.clear();
    };
    drain();
    struct stat now {}, held {};
    if (stat(client_.paths().log().c_str(), &now) == 0) {
        const bool same = log_ && fstat(log_.get(), &held) == 0 && held.st_ino == now.st_ino && held.st_dev == now.st_dev;
        if (!same) {
            const bool first = !log_;
            log_.reset(open(client_.paths().log().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
            log_partial_.clear();
            const bool cut = first && log_ && now.st_size > LOG_BEGINS;
            if (cut) lseek(log_.get(), -LOG_BEGINS, SEEK_END);
            drain();
            if (cut && !lines.empty()) lines.erase(lines.begin()); // its beginning is missing
        } else if (lseek(log_.get(), 0, SEEK_CUR) > now.st_size) {
            lseek(log_.get(), 0, SEEK_SET);
            drain();
        }
    }
    if (lines.empty()) return;
    log_lines_.insert(log_lines_.end(), lines.begin(), lines.end());
    if (log_lines_.size() > LOG_KEPT) log_lines_.erase(log_lines_.begin(), log_lines_.end() - LOG_KEPT);
    if (!tell) return;
    for (HubListener *listener : std::set(listeners_))
        if (listener->wants_log(*this)) listener->log_came(*this, lines);
}

// ---- aging trend ----

void Hub::follow_trend() {
    if (!anybody(&HubListener::wants_trend)) {
        trend_watches_.clear();
        trend_.clear();
        trend_read_ = 0;
        return;
    }
    if (!trend_watches_.empty()) return;
    trend_file_ = report::log_folder(client_) + "aging/agingtrend.csv";
    // Folders that are still to come are heard of in the one above.
    const std::string file = client_.paths().root + trend_file_;
    for (size_t slash = client_.paths().root.size(); (slash = file.find('/', slash + 1)) != std::string::npos;) {
        const std::string folder = file.substr(0, slash);
        const bool last = file.find('/', slash + 1) == std::string::npos;
        auto watch = events_.watch(folder, IN_ONLYDIR | IN_CREATE | IN_MOVED_TO | (last ? IN_MODIFY | IN_DELETE : 0),
                                   [this, last](const std::string &name) {
            if (last && name == "agingtrend.csv") return read_trend(true);
            if (last || trend_file_.find("/" + name + "/") == std::string::npos) return;
            trend_watches_.clear();
            follow_trend();
        });
        if (watch) trend_watches_.push_back(std::move(watch));
    }
    read_trend(false);
}

void Hub::tell_trend(HubListener &listener) const { listener.trend_came(const_cast<Hub &>(*this), true, trend_); }

void Hub::read_trend(bool tell) {
    std::string more;
    bool anew = false;
    try {
        const Fd file = client_.open_file(trend_file_);
        struct stat info {};
        fstat(file.get(), &info);
        anew = info.st_size < trend_read_ || trend_read_ == 0;
        if (anew) trend_read_ = std::max<off_t>(0, info.st_size - TREND_BEGINS);
        const bool cut = anew && trend_read_ > 0;
        more = read_from(file, trend_read_);
        // The rest of a line that is being written comes with the next event.
        const size_t end = more.rfind('\n') + 1;
        trend_read_ -= static_cast<off_t>(more.size() - end);
        more.resize(end);
        if (cut) more.erase(0, more.find('\n') + 1);
    } catch (const ClientError &) { // no run yet, or cleared away
        anew = !trend_.empty();
        trend_read_ = 0;
    }
    if (anew) trend_.clear();
    trend_ += more;
    if (trend_.size() > 2 * static_cast<size_t>(TREND_BEGINS)) trend_.erase(0, trend_.find('\n', trend_.size() / 2) + 1);
    if (!tell || (!anew && more.empty())) return;
    for (HubListener *listener : std::set(listeners_))
        if (listener->wants_trend(*this)) listener->trend_came(*this, anew, more);
}

} // namespace vh::console
