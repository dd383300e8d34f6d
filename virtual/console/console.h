// The handsets of this user as a page in a browser of this machine: screens, hardware, PC commands, logs, flags.
// Listens on 127.0.0.1 only; everything but the bare page needs the token of the printed address.
#pragma once

#include "common/fd.h"

#include <cstdint>
#include <memory>
#include <string>

namespace vh::console {

struct Address {
    Fd listener;
    uint16_t port = 0;
    std::string token; // 64 hexadecimal digits
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port) + "/#" + token; }
    // With the handset that the page opens first.
    std::string url(const std::string &handset) const { return url() + "," + handset; }
};
// Port 0: any free one. Throws ClientError.
Address listen_at(uint16_t port);

class Server {
public:
    explicit Server(Address address);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    void run();  // serves on the calling thread until stop()
    void stop(); // any thread

private:
    struct State;
    std::shared_ptr<State> state_;
};

// Has the desktop's browser show the address, which stands in a file of the user's own (in `folder`), not on a command line.
void open_in_browser(const std::string &url, const std::string &folder);

} // namespace vh::console
