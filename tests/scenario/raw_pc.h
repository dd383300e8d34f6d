// A PC's bare socket, for what the ordinary link never sends.
#pragma once

#include <array>
#include <poll.h>
#include <sys/socket.h>

#include "scenario/handset.h"

class RawPc {
public:
    explicit RawPc(const Handset &handset) : fd_(vh::connect_unix(handset.client().paths().pc_socket())) {
        if (!fd_) throw std::runtime_error("no PC socket");
    }
    bool send(const std::string &bytes) const {
        for (size_t done = 0; done < bytes.size();) {
            const ssize_t n = ::send(fd_.get(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0) return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }
    // Only what fits without waiting for the handset.
    void send_some(const std::string &bytes) const {
        [[maybe_unused]] const ssize_t n = ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    // Until so many bytes have come, or the handset closed, or 20 s without any.
    std::string receive(size_t count) const {
        std::string got;
        std::array<char, 4096> buffer;
        for (pollfd p{fd_.get(), POLLIN, 0}; got.size() < count && poll(&p, 1, 20000) > 0;) {
            const ssize_t n = recv(fd_.get(), buffer.data(), std::min(buffer.size(), count - got.size()), 0);
            if (n <= 0) break;
            got.append(buffer.data(), static_cast<size_t>(n));
        }
        return got;
    }
    // Sends all and compares all that comes back up to a closing command of known answer, so that nothing follows either.
    std::string converse(const std::string &bytes) const {
        static const std::string END = "2 0\n\n";
        if (!send(bytes + "last line of all\n")) return "not sent";
        shutdown(fd_.get(), SHUT_WR);
        std::string all = receive(1 << 20);
        if (!all.ends_with(END)) return "cut off: " + all;
        return all.substr(0, all.size() - END.size());
    }

private:
    vh::Fd fd_;
};

inline std::string answer(int status, const std::string &text = "") {
    return std::to_string(status) + " " + std::to_string(text.size()) + "\n" + text + "\n";
}
