// One page that is connected: what it follows, what it holds down, what is still to be sent to it.
#pragma once

#include "console/hub.h"
#include "console/lane.h"
#include "console/requests.h"

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <deque>
#include <optional>

namespace vh::console {

// All handsets of this user, in the order of their names.
class House {
public:
    virtual ~House() = default;
    virtual std::vector<std::shared_ptr<Hub>> hubs() = 0;
    virtual std::shared_ptr<Hub> hub(const std::string &name) = 0; // null: no such handset
    virtual boost::asio::io_context &io() = 0;
};

class Session : public std::enable_shared_from_this<Session>, public HubListener {
public:
    Session(House &house, boost::asio::ip::tcp::socket socket);
    ~Session() override;
    // Answers the request for a WebSocket; whoever comes this far has shown the token.
    void start(const boost::beast::http::request<boost::beast::http::empty_body> &upgrade);
    void handsets_changed(); // one came or went
    void close();

    void status_came(Hub &hub) override;
    void attributes_came(Hub &hub, const nlohmann::json &attributes) override;
    void hardware_came(Hub &hub) override;
    void flags_came(Hub &hub) override;
    void log_came(Hub &hub, const std::vector<std::string> &lines) override;
    void trend_came(Hub &hub, bool anew, const std::string &text) override;
    void frame_came(Hub &hub, const Image &image, const std::vector<Rect> &changes) override;
    bool awaits_frame(const Hub &hub) const override;
    bool wants_log(const Hub &hub) const override { return hub.name() == log_of_; }
    bool wants_trend(const Hub &hub) const override { return hub.name() == trend_of_; }
    bool wants_screen(const Hub &hub) const override;

private:
    struct View { // of a screen
        std::string handset;
        int width = 0; // 0: as it is, else reduced to that
        bool begins = true;   // has not been sent anything
        bool busy = false;    // a frame is on its way, or has not been drawn yet
        std::vector<Rect> damage;
    };
    using Fields = nlohmann::json;

    void read_next();
    void take(const std::string &text);
    void open(const Fields &message);
    void view(const Fields &message);
    void drawn(const Fields &message);
    void follow(std::string &what, const Fields &message);
    void touch(const Fields &message);
    void ask(Lane &lane, const Fields &message, std::function<nlohmann::json()> work);
    void send_frame(uint8_t number, View &view, const Image &image);
    void send(const nlohmann::json &message);
    void queue(std::string text, bool binary);
    void write_next();
    void end();
    void arm_release();
    Hub &hub_of(const Fields &message);

    House &house_;
    boost::beast::websocket::stream<boost::beast::tcp_stream> socket_;
    boost::beast::flat_buffer incoming_;
    struct Outgoing {
        std::string text;
        bool binary;
    };
    std::deque<Outgoing> outgoing_;
    size_t waiting_ = 0; // bytes of it
    bool writing_ = false, open_ = false, ended_ = false;
    std::map<std::string, std::shared_ptr<Hub>> hubs_; // that it listens to
    std::string focus_, log_of_, trend_of_;
    std::map<uint8_t, View> views_;
    std::map<std::string, std::shared_ptr<Fingers>> fingers_; // used on the lane of touches only
    bool finger_down_ = false;
    boost::asio::steady_timer release_;
    Lane touches_, requests_, pc_;
};

} // namespace vh::console
