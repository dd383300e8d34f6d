// One handset as the console sees it: how it is, its attributes, flags, log, trend and screen, heard of by events, never polled.
// The loop's thread only.
#pragma once

#include "client/client.h"
#include "console/file_events.h"
#include "console/panel_watch.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <set>

namespace vh::console {

using FlagArea = std::array<uint8_t, STATION_COUNT / 4>;

class Hub;
// Who wants to be told. All functions are called on the loop's thread.
class HubListener {
public:
    virtual ~HubListener() = default;
    virtual void status_came(Hub &hub) = 0;
    virtual void attributes_came(Hub &hub, const nlohmann::json &attributes) = 0; // as in request "watch"
    virtual void hardware_came(Hub &hub) = 0;
    virtual void flags_came(Hub &hub) = 0;
    virtual void log_came(Hub &hub, const std::vector<std::string> &lines) = 0;
    virtual void trend_came(Hub &hub, bool anew, const std::string &text) = 0;
    // The screen as it is now, and where it differs from the time before.
    virtual void frame_came(Hub &hub, const Image &image, const std::vector<Rect> &changes) = 0;
    virtual bool awaits_frame(const Hub &hub) const = 0; // has shown all there was
    virtual bool wants_log(const Hub &hub) const = 0;
    virtual bool wants_trend(const Hub &hub) const = 0;
    virtual bool wants_screen(const Hub &hub) const = 0;
};

class Hub : public std::enable_shared_from_this<Hub> {
public:
    Hub(boost::asio::io_context &io, FileEvents &events, const std::string &name);

    void add(HubListener &listener);
    void remove(HubListener &listener);
    void wants_changed(); // of a listener

    const Client &client() const { return client_; }
    const std::string &name() const { return client_.name(); }
    nlohmann::json status() const; // as of request "status"; state "stopped" without a launcher
    nlohmann::json attributes() const;
    const FlagArea &flags() const { return flags_; }
    int station(int number) const { return flags_[static_cast<size_t>(number) / 4] >> ((3 - number % 4) * 2) & 3; }
    // Hands out what has changed on the screen, and the screen itself to those that have begun to look.
    void share_frame();
    // What there is so far, for one that has just begun to want it.
    void tell_log(HubListener &listener) const;
    void tell_trend(HubListener &listener) const;

private:
    void connect();
    void read_watch();
    void take_line(const std::string &line);
    void lost();
    void look_at_flags();
    void follow_screen();
    void follow_log();
    void read_log(bool tell);
    void follow_trend();
    void read_trend(bool tell);
    bool anybody(bool (HubListener::*wants)(const Hub &) const) const;

    boost::asio::io_context &io_;
    FileEvents &events_;
    const Client client_;
    std::set<HubListener *> listeners_;
    std::unique_ptr<FileEvents::Watch> state_watch_, run_watch_, part_watch_, log_watch_;
    std::vector<std::unique_ptr<FileEvents::Watch>> trend_watches_;
    std::unique_ptr<boost::asio::local::stream_protocol::socket> watch_;
    boost::asio::streambuf incoming_;
    boost::asio::steady_timer retry_;
    int tries_ = 0;
    nlohmann::json status_;
    std::map<std::string, nlohmann::json> attributes_;
    FlagArea flags_{};
    std::unique_ptr<PanelWatch> screen_;
    Fd log_;
    std::string log_partial_;
    std::vector<std::string> log_lines_; // the last ones
    std::string trend_file_, trend_;     // on the handset; its end as read so far
    off_t trend_read_ = 0;
};

} // namespace vh::console
