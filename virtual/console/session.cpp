#include "console/session.h"

#include "console/gate.h"

#include <algorithm>
#include <chrono>

namespace vh::console {

using nlohmann::json;
namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

namespace {
constexpr size_t LONGEST_MESSAGE = 64 << 10; // from a page
constexpr size_t MOST_WAITING = 32 << 20;    // to one that does not read
constexpr int MOST_VIEWS = 64, THUMB_MAX = 1024;
// A page that holds a finger down says so every half second; a silent one has lost it.
constexpr std::chrono::seconds SILENCE{2};

} // namespace

Session::Session(House &house, asio::ip::tcp::socket socket)
    : house_(house), socket_(std::move(socket)), release_(house.io()) {}

Session::~Session() { end(); }

void Session::start(const http::request<http::empty_body> &upgrade) {
    websocket::stream_base::timeout timeout{};
    timeout.handshake_timeout = std::chrono::seconds(10);
    timeout.idle_timeout = websocket::stream_base::none(); // a page that only looks on costs nothing
    timeout.keep_alive_pings = false;
    beast::get_lowest_layer(socket_).expires_never();
    socket_.set_option(timeout);
    socket_.read_message_max(LONGEST_MESSAGE);
    socket_.auto_fragment(false); // a frame of some MiB would become a thousand
    socket_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type &response) { response.set(http::field::sec_websocket_protocol, SUBPROTOCOL.data()); }));
    beast::get_lowest_layer(socket_).socket().set_option(asio::ip::tcp::no_delay(true));
    beast::get_lowest_layer(socket_).socket().set_option(asio::socket_base::send_buffer_size(4 << 20)); // a whole screen at once
    socket_.async_accept(upgrade, [self = shared_from_this()](const beast::error_code &error) {
        if (error) return self->end();
        self->open_ = true;
        self->handsets_changed();
        self->read_next();
    });
}

void Session::close() {
    if (ended_) return;
    beast::error_code ignored;
    beast::get_lowest_layer(socket_).socket().close(ignored);
    end();
}

// What it held down is let go of, whichever way it went.
void Session::end() {
    if (std::exchange(ended_, true)) return;
    release_.cancel();
    for (const auto &[name, fingers] : fingers_)
        (void)touches_.add([fingers = fingers] { fingers->release_all(); });
    views_.clear();
    log_of_.clear();
    trend_of_.clear();
    for (const auto &[name, hub] : hubs_) hub->remove(*this);
    hubs_.clear();
}

// ---- from the page ----

void Session::read_next() {
    socket_.async_read(incoming_, [self = shared_from_this()](const beast::error_code &error, size_t) {
        if (error || self->ended_) return self->end();
        const std::string text = beast::buffers_to_string(self->incoming_.data());
        self->incoming_.consume(self->incoming_.size());
        self->take(text);
        if (!self->ended_) self->read_next();
    });
}

void Session::take(const std::string &text) {
    json answer;
    try {
        const json message = socket_.got_text() ? json::parse(text) : json();
        const std::string op = message.at("op");
        const auto here = [this, &message] { return hub_of(message).client(); };
        if (op == "open") open(message);
        else if (op == "screen") view(message);
        else if (op == "drawn") drawn(message);
        else if (op == "touch" || op == "lift" || op == "key") touch(message);
        else if (op == "log") follow(log_of_, message);
        else if (op == "trend") follow(trend_of_, message);
        else if (op == "request")
            ask(requests_, message, [client = here(), request = message.at("request")] { return launcher_request(client, request); });
        else if (op == "flag") ask(requests_, message, [client = here(), message] { return set_station(client, message); });
        else if (op == "pc")
            ask(pc_, message, [client = here(), command = message.at("text").get<std::string>(), id = message.at("id"),
                               weak = weak_from_this(), &io = house_.io()] {
                return pc_command(client, command, [&](json answered) {
                    answered.update({{"type", "replied"}, {"id", id}});
                    asio::post(io, [weak, answered] {
                        if (const auto self = weak.lock()) self->send(answered);
                    });
                });
            });
        else throw ClientError("unknown message '" + op + "'");
    } catch (const std::exception &error) {
        send({{"type", "failed"}, {"error", error.what()}});
    }
}

Hub &Session::hub_of(const Fields &message) {
    const auto found = hubs_.find(message.at("handset").get<std::string>());
    if (found == hubs_.end()) throw ClientError("there is no such handset");
    return *found->second;
}

void Session::open(const Fields &message) {
    Hub &hub = hub_of(message);
    focus_ = hub.name();
    status_came(hub);
    attributes_came(hub, hub.attributes());
    flags_came(hub);
    hardware_came(hub);
}

void Session::view(const Fields &message) {
    const auto number = message.at("view").get<uint8_t>();
    const int width = message.value("width", 0);
    if (width < 0) {
        views_.erase(number);
    } else {
        if (views_.size() >= MOST_VIEWS) throw ClientError("too many screens at once");
        views_[number] = {hub_of(message).name(), width ? std::clamp(width, 16, THUMB_MAX) : 0};
    }
    for (const auto &[name, hub] : hubs_) hub->wants_changed();
    if (width >= 0) hub_of(message).share_frame();
}

void Session::drawn(const Fields &message) {
    const auto found = views_.find(message.at("view").get<uint8_t>());
    if (found == views_.end()) return; // ended meanwhile
    found->second.busy = false;
    if (const auto hub = hubs_.find(found->second.handset); hub != hubs_.end()) hub->second->share_frame();
}

void Session::follow(std::string &what, const Fields &message) {
    Hub *before = nullptr;
    if (const auto found = hubs_.find(what); found != hubs_.end()) before = found->second.get();
    what = message.value("on", true) ? hub_of(message).name() : "";
    if (before) before->wants_changed();
    if (what.empty()) return;
    Hub &hub = hub_of(message);
    hub.wants_changed();
    if (&what == &log_of_) hub.tell_log(*this);
    else hub.tell_trend(*this);
}

void Session::touch(const Fields &message) {
    std::shared_ptr<Fingers> &fingers = fingers_[hub_of(message).name()];
    if (!fingers) fingers = std::make_shared<Fingers>(hub_of(message).name());
    finger_down_ = message.at("op") == "touch" || (finger_down_ && message.at("op") != "lift");
    const bool taken = touches_.add([fingers, message, weak = weak_from_this(), &io = house_.io()] {
        std::string why;
        try {
            return fingers->act(message);
        } catch (const std::exception &error) { why = error.what(); }
        asio::post(io, [weak, why] {
            if (const auto self = weak.lock()) self->send({{"type", "failed"}, {"error", why}});
        });
    });
    if (!taken) throw ClientError("the handset does not take its input; it was refused");
    arm_release();
}

void Session::arm_release() {
    release_.cancel();
    if (!finger_down_) return;
    release_.expires_after(SILENCE);
    release_.async_wait([weak = weak_from_this()](const beast::error_code &error) {
        const std::shared_ptr<Session> self = weak.lock();
        if (error || !self || self->ended_) return;
        self->finger_down_ = false;
        for (const auto &[name, fingers] : self->fingers_)
            (void)self->touches_.add([fingers = fingers] { fingers->release_all(); });
    });
}

void Session::ask(Lane &lane, const Fields &message, std::function<json()> work) {
    const json id = message.at("id"), name = hub_of(message).name();
    const bool taken = lane.add([work = std::move(work), id, name, weak = weak_from_this(), &io = house_.io()] {
        json answer = work();
        answer.update({{"type", "answer"}, {"id", id}, {"handset", name}});
        asio::post(io, [weak, answer = std::move(answer)] {
            if (const auto self = weak.lock()) self->send(answer);
        });
    });
    if (!taken) throw ClientError("too many requests wait for this handset");
}

// ---- from the handsets ----

void Session::handsets_changed() {
    std::map<std::string, std::shared_ptr<Hub>> now;
    for (const std::shared_ptr<Hub> &hub : house_.hubs()) now[hub->name()] = hub;
    for (const auto &[name, hub] : hubs_)
        if (!now.contains(name)) hub->remove(*this);
    std::swap(hubs_, now); // those that stay go on
    json names = json::array();
    for (const auto &[name, hub] : hubs_) names.push_back(name);
    send({{"type", "handsets"}, {"names", names}});
    for (const auto &[name, hub] : hubs_)
        if (!now.contains(name)) {
            hub->add(*this);
            status_came(*hub);
        }
}

void Session::status_came(Hub &hub) {
    int passed = 0, failed = 0;
    for (int i = 0; i < STATION_COUNT; ++i) {
        passed += hub.station(i) == 1;
        failed += hub.station(i) == 2;
    }
    send({{"type", "status"}, {"handset", hub.name()}, {"status", hub.status()}, {"passed", passed}, {"failed", failed}});
}

void Session::attributes_came(Hub &hub, const json &attributes) {
    if (hub.name() == focus_) send({{"type", "attributes"}, {"handset", focus_}, {"attributes", attributes}});
}

void Session::hardware_came(Hub &hub) {
    if (hub.name() == focus_) send({{"type", "hardware"}, {"handset", focus_}});
}

void Session::flags_came(Hub &hub) {
    status_came(hub);
    if (hub.name() != focus_) return;
    json flags = json::object();
    for (int i = 0; i < STATION_COUNT; ++i)
        if (hub.station(i)) flags[std::to_string(i)] = hub.station(i);
    send({{"type", "flags"}, {"handset", focus_}, {"flags", flags}});
}

void Session::log_came(Hub &hub, const std::vector<std::string> &lines) {
    json texts = json::array();
    for (const std::string &line : lines) texts.push_back(line);
    send({{"type", "log"}, {"handset", hub.name()}, {"lines", texts}});
}

void Session::trend_came(Hub &hub, bool anew, const std::string &text) {
    send({{"type", "trend"}, {"handset", hub.name()}, {"anew", anew}, {"text", text}});
}

bool Session::wants_screen(const Hub &hub) const {
    return std::any_of(views_.begin(), views_.end(), [&](const auto &entry) { return entry.second.handset == hub.name(); });
}

bool Session::awaits_frame(const Hub &hub) const {
    return std::any_of(views_.begin(), views_.end(),
                       [&](const auto &entry) { return entry.second.handset == hub.name() && !entry.second.busy; });
}

void Session::frame_came(Hub &hub, const Image &image, const std::vector<Rect> &changes) {
    for (auto &[number, view] : views_) {
        if (view.handset != hub.name()) continue;
        for (const Rect &rect : changes) add_damage(view.damage, rect);
        if (std::exchange(view.begins, image.width == 0)) view.damage = {{0, 0, image.width, image.height}};
        send_frame(number, view, image);
    }
}

// One frame is on its way at a time; what changes meanwhile goes with the next one, as it is then.
void Session::send_frame(uint8_t number, View &view, const Image &image) {
    if (view.busy || ended_) return;
    std::vector<Rect> rects;
    for (Rect r : std::exchange(view.damage, {})) { // it may be left of a larger screen
        r = {r.left, r.top, std::min(r.right, image.width), std::min(r.bottom, image.height)};
        if (!r.empty()) rects.push_back(r);
    }
    if (rects.empty()) return;
    view.busy = true;
    if (view.width == 0) return queue(frame_message(number, image, rects), true);
    const Image small = reduced(image, view.width);
    queue(frame_message(number, small, std::array{Rect{0, 0, small.width, small.height}}), true);
}

// ---- to the page ----

void Session::send(const json &message) { queue(message.dump(-1, ' ', false, json::error_handler_t::replace), false); }

// A page that does not read is sent away rather than kept for; it comes back when it can.
void Session::queue(std::string text, bool binary) {
    if (ended_ || !open_) return;
    waiting_ += text.size();
    if (waiting_ > MOST_WAITING) return close();
    outgoing_.push_back({std::move(text), binary});
    if (!writing_) write_next();
}

void Session::write_next() {
    if (outgoing_.empty() || ended_) return;
    writing_ = true;
    socket_.binary(outgoing_.front().binary);
    socket_.async_write(asio::buffer(outgoing_.front().text), [self = shared_from_this()](const beast::error_code &error, size_t) {
        self->writing_ = false;
        if (error) return self->end();
        self->waiting_ -= self->outgoing_.front().text.size();
        self->outgoing_.pop_front();
        self->write_next();
    });
}

} // namespace vh::console
