#include "console/console.h"

#include "common/loopback.h"
#include "console/gate.h"
#include "console/pages.h"
#include "console/session.h"

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/stat.h>

namespace vh::console {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace fs = std::filesystem;
using tcp = asio::ip::tcp;

namespace {
constexpr size_t MOST_SESSIONS = 32, MOST_REQUESTS = 64;
constexpr uint32_t LONGEST_HEADER = 8192;
constexpr std::chrono::seconds PATIENCE{10}; // with a request that comes slowly

using Request = http::request<http::empty_body>;
using Response = http::response<http::string_body>;

std::string policy(uint16_t port) {
    const std::string at = ":" + std::to_string(port);
    return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src 'self' ws://127.0.0.1" + at +
           " ws://localhost" + at + "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
}

Response response_to(const Request &request, uint16_t port, http::status status, std::string type, std::string body) {
    Response response{status, 11};
    response.set(http::field::content_type, type);
    response.set("Content-Security-Policy", policy(port));
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set("Cross-Origin-Opener-Policy", "same-origin");
    response.set(http::field::cache_control, "no-store");
    response.keep_alive(false);
    response.body() = std::move(body);
    response.prepare_payload();
    if (request.method() == http::verb::head) response.body().clear();
    return response;
}

std::string_view field(const Request &request, http::field name) {
    const auto value = request[name];
    return {value.data(), value.size()};
}
} // namespace

struct Server::State : House, std::enable_shared_from_this<Server::State> {
    explicit State(Address given)
        : address(std::move(given)), context(std::make_shared<asio::io_context>(1)), events(*context), acceptor(*context) {
        acceptor.assign(tcp::v4(), address.listener.release());
    }

    // ---- handsets ----
    std::vector<std::shared_ptr<Hub>> hubs() override {
        look_for_handsets();
        std::vector<std::shared_ptr<Hub>> all;
        for (const auto &[name, hub] : hubs_) all.push_back(hub);
        return all;
    }
    std::shared_ptr<Hub> hub(const std::string &name) override {
        const auto found = hubs_.find(name);
        return found == hubs_.end() ? nullptr : found->second;
    }
    asio::io_context &io() override { return *context; }

    void look_for_handsets() {
        std::map<std::string, std::shared_ptr<Hub>> now;
        std::error_code none;
        for (const auto &entry : fs::directory_iterator(handsets_home(), none)) {
            if (!entry.is_directory(none)) continue;
            const std::string name = entry.path().filename().string();
            try {
                state_of(name);
            } catch (const std::invalid_argument &) { continue; } // some other folder
            const std::shared_ptr<Hub> known = hub(name);
            now[name] = known ? known : std::make_shared<Hub>(*context, events, name);
        }
        hubs_ = std::move(now);
    }

    // Folders come and go with handsets; while nobody looks nobody is told.
    void follow_home() {
        home.reset();
        std::erase_if(sessions, [](const auto &weak) { return weak.expired(); });
        if (sessions.empty()) return;
        home = events.watch(handsets_home(), IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_ONLYDIR, [this](const std::string &) {
            for (const auto &weak : std::vector(sessions))
                if (const auto session = weak.lock()) session->handsets_changed();
        });
    }

    // ---- requests ----
    void accept_next() {
        acceptor.async_accept([this](const beast::error_code &error, tcp::socket socket) {
            if (error == asio::error::operation_aborted) return;
            if (!error && requests < MOST_REQUESTS) read_request(std::move(socket));
            accept_next();
        });
    }

    struct Connection {
        explicit Connection(tcp::socket socket) : stream(std::move(socket)) {}
        beast::tcp_stream stream;
        beast::flat_buffer buffer{LONGEST_HEADER};
        http::request_parser<http::empty_body> parser;
        std::optional<Response> response;
    };

    void read_request(tcp::socket socket) {
        auto connection = std::make_shared<Connection>(std::move(socket));
        connection->parser.header_limit(LONGEST_HEADER);
        connection->parser.body_limit(0);
        connection->stream.expires_after(PATIENCE);
        ++requests;
        http::async_read(connection->stream, connection->buffer, connection->parser, [this, connection](const beast::error_code &error, size_t) {
            --requests;
            if (error == http::error::header_limit || error == http::error::buffer_overflow)
                return reply(connection, http::status::request_header_fields_too_large, "The request is too long.\n");
            const bool malformed = error && error.category() == http::make_error_code(http::error::bad_method).category();
            if (malformed && error != http::error::end_of_stream && error != http::error::partial_message)
                return reply(connection, http::status::bad_request, "This is no HTTP request.\n");
            if (!error) take(connection);
        });
    }

    void reply(const std::shared_ptr<Connection> &connection, http::status status, std::string body,
               const std::string &type = "text/plain; charset=utf-8") {
        connection->response.emplace(response_to(connection->parser.get(), address.port, status, type, std::move(body)));
        connection->stream.expires_after(PATIENCE);
        http::async_write(connection->stream, *connection->response, [connection](const beast::error_code &, size_t) {
            beast::error_code ignored;
            connection->stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
        });
    }

    void take(const std::shared_ptr<Connection> &connection) {
        const Request &request = connection->parser.get();
        const std::string_view origin = field(request, http::field::origin);
        const std::string_view target{request.target().data(), request.target().size()};
        if (!own_host(field(request, http::field::host), address.port) || (!origin.empty() && !own_origin(origin, address.port)))
            return reply(connection, http::status::forbidden, "This console answers its own address only.\n");
        if (beast::websocket::is_upgrade(request)) return upgrade(connection, origin, target);
        if (request.method() != http::verb::get && request.method() != http::verb::head)
            return reply(connection, http::status::method_not_allowed, "GET only.\n");
        for (const Page &page : pages())
            if (page.path == target) return reply(connection, http::status::ok, std::string(page.body), std::string(page.type));
        download(connection, target);
    }

    void upgrade(const std::shared_ptr<Connection> &connection, std::string_view origin, std::string_view target) {
        if (target != "/socket") return reply(connection, http::status::not_found, "Not here.\n");
        if (origin.empty()) return reply(connection, http::status::forbidden, "Pages of this console only.\n");
        if (!same_token(subprotocol_token(field(connection->parser.get(), http::field::sec_websocket_protocol)), address.token))
            return reply(connection, http::status::unauthorized, "Open the address that the handset tool printed.\n");
        std::erase_if(sessions, [](const auto &weak) { return weak.expired(); });
        if (sessions.size() >= MOST_SESSIONS) return reply(connection, http::status::service_unavailable, "Too many pages are open.\n");
        connection->stream.expires_never();
        const auto session = std::make_shared<Session>(*this, connection->stream.release_socket());
        sessions.push_back(session);
        if (!home) follow_home();
        session->start(connection->parser.get());
    }

    // Made on the lane, since a handset may take its time.
    void download(const std::shared_ptr<Connection> &connection, std::string_view target) {
        static const struct {
            std::string_view path, type;
            std::string (*make)(const Client &);
        } DOWNLOADS[] = {{"/screenshot/", "image/png", screenshot}, {"/report/", "text/html", aging_report}};
        const auto kind = std::find_if(std::begin(DOWNLOADS), std::end(DOWNLOADS), [&](const auto &row) { return target.starts_with(row.path); });
        if (kind == std::end(DOWNLOADS)) return reply(connection, http::status::not_found, "Not here.\n");
        if (!same_token(bearer_token(field(connection->parser.get(), http::field::authorization)), address.token))
            return reply(connection, http::status::unauthorized, "Open the address that the handset tool printed.\n");
        look_for_handsets();
        const std::shared_ptr<Hub> found = hub(std::string(target.substr(kind->path.size())));
        if (!found) return reply(connection, http::status::not_found, "There is no such handset.\n");
        const bool taken = downloads.add([this, connection, kind, client = found->client(), io = context, weak = weak_from_this()] {
            std::string body, type(kind->type);
            http::status status = http::status::ok;
            try {
                body = kind->make(client);
            } catch (const std::exception &error) {
                body = std::string(error.what()) + "\n";
                type = "text/plain; charset=utf-8";
                status = http::status::service_unavailable;
            }
            asio::post(*io, [this, weak, connection, status, type, body = std::move(body)]() mutable {
                if (weak.lock()) reply(connection, status, std::move(body), type);
            });
        });
        if (!taken) reply(connection, http::status::service_unavailable, "Too many downloads wait.\n");
    }

    ~State() override {
        beast::error_code ignored;
        acceptor.close(ignored);
        for (const auto &weak : sessions)
            if (const auto session = weak.lock()) session->close();
        home.reset();
        hubs_.clear();
        context->restart();
        context->poll(); // what was cancelled lets go of its owners
    }

    Address address;
    std::shared_ptr<asio::io_context> context;
    FileEvents events;
    tcp::acceptor acceptor;
    std::map<std::string, std::shared_ptr<Hub>> hubs_;
    std::vector<std::weak_ptr<Session>> sessions;
    std::unique_ptr<FileEvents::Watch> home;
    size_t requests = 0;
    Lane downloads;
};

Address listen_at(uint16_t port) {
    Address address;
    address.listener = listen_loopback(port);
    if (!address.listener)
        throw ClientError("the page cannot be served at 127.0.0.1:" + std::to_string(port) + ": " + strerror(errno) +
                          "; take another port, or 0 for any that is free");
    address.port = port;
    address.token = new_token();
    return address;
}

Server::Server(Address address) : state_(std::make_shared<State>(std::move(address))) { state_->accept_next(); }
Server::~Server() = default;
void Server::run() { state_->context->run(); }
void Server::stop() { state_->context->stop(); }

void open_in_browser(const std::string &url, const std::string &folder) {
    const std::string file = folder + "/console.html";
    unlink(file.c_str());
    {
        const Fd fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
        const std::string text = "<!doctype html><meta charset=utf-8><title>Handsets</title><meta http-equiv=refresh content=\"0;url=" +
                                 url + "\"><a href=\"" + url + "\">Handsets</a>\n";
        if (!fd || write(fd.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw ClientError("cannot write " + file + ": " + strerror(errno));
    }
    std::string program = "xdg-open", argument = file;
    char *argv[] = {program.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fd : {0, 1, 2}) posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, program.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error) throw ClientError("no browser was opened: xdg-open is missing (Debian package xdg-utils); open the address yourself");
}

} // namespace vh::console
