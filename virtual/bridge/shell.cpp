// Commands: their process, and its input and outputs on one stream. Framed, each piece has a header of one byte (what it is)
// and its length, four bytes, little endian.
#include "bridge/packet.h"
#include "bridge/services.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace bridge {

namespace {
enum Piece : char { INPUT = 0, OUTPUT = 1, ERRORS = 2, EXIT = 3, END_OF_INPUT = 4, WINDOW_SIZE = 5 };
constexpr size_t CHUNK = 16 * 1024;
constexpr size_t MAX_LAST_OUTPUT = 1 << 20; // of what a command leaves running and that goes on writing
constexpr int HANG_UP_GRACE_MS = 500;

void set_non_blocking(const vh::Fd &fd) { fcntl(fd.get(), F_SETFL, O_NONBLOCK); }

class Shell {
public:
    Shell(int socket, const ShellPlan &plan) : socket_(socket), plan_(plan) {}
    ~Shell() { end(); }
    Shell(const Shell &) = delete;
    Shell &operator=(const Shell &) = delete;

    bool start() {
        if (plan_.pty ? !start_on_terminal() : !start_on_pipes()) return false;
        for (const vh::Fd *fd : {&input_, &output_, &errors_})
            if (*fd) set_non_blocking(*fd);
        process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
        return static_cast<bool>(process_);
    }

    void serve() {
        for (;;) {
            pollfd fds[] = {{pending_.empty() ? socket_ : -1, POLLIN, 0},
                            {pending_.empty() ? -1 : input_.get(), POLLOUT, 0},
                            {output_.get(), POLLIN, 0},
                            {errors_.get(), POLLIN, 0},
                            {process_.get(), POLLIN, 0}};
            if (poll(fds, std::size(fds), -1) < 0 && errno != EINTR) return;
            if (fds[0].revents && !take_input()) return;
            if (fds[1].revents) write_pending();
            if ((fds[2].revents && !pass_on(output_, OUTPUT)) || (fds[3].revents && !pass_on(errors_, ERRORS))) return;
            if (fds[4].revents) return finish();
        }
    }

private:
    [[noreturn]] void run_command() const {
        signal(SIGPIPE, SIG_DFL);
        if (plan_.pty) setenv("TERM", plan_.terminal.empty() ? "dumb" : plan_.terminal.c_str(), 1);
        if (plan_.command.empty()) execl("/bin/sh", "sh", nullptr);
        else execl("/bin/sh", "sh", "-c", plan_.command.c_str(), nullptr);
        _exit(126);
    }

    bool start_on_terminal() {
        int master = -1;
        pid_ = forkpty(&master, nullptr, nullptr, nullptr);
        if (pid_ == 0) run_command();
        if (pid_ < 0) return false;
        fcntl(master, F_SETFD, FD_CLOEXEC);
        output_.reset(master);
        input_.reset(fcntl(master, F_DUPFD_CLOEXEC, 0));
        return true;
    }

    bool start_on_pipes() {
        std::array<std::array<int, 2>, 3> pipes;
        for (auto &ends : pipes)
            if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
        pid_ = fork();
        if (pid_ == 0) {
            setpgid(0, 0);
            dup2(pipes[0][0], STDIN_FILENO);
            dup2(pipes[1][1], STDOUT_FILENO);
            dup2(plan_.framed ? pipes[2][1] : pipes[1][1], STDERR_FILENO);
            run_command();
        }
        if (pid_ < 0) return false;
        setpgid(pid_, pid_); // whoever of both comes first
        input_.reset(pipes[0][1]);
        output_.reset(pipes[1][0]);
        errors_.reset(pipes[2][0]);
        for (const int theirs : {pipes[0][0], pipes[1][1], pipes[2][1]}) ::close(theirs);
        return true;
    }

    // False when the stream is closed.
    bool take_input() {
        std::array<char, CHUNK> bytes;
        const ssize_t n = recv(socket_, bytes.data(), bytes.size(), 0);
        if (n < 0 && errno == EINTR) return true;
        if (n <= 0) return false;
        const std::string_view came(bytes.data(), static_cast<size_t>(n));
        if (plan_.framed) take_frames(came);
        else pending_ += came;
        write_pending();
        return true;
    }

    void take_frames(std::string_view came) {
        while (!came.empty()) {
            if (left_ == 0) {
                const size_t taken = std::min(came.size(), HEADER - header_.size());
                header_ += came.substr(0, taken);
                came.remove_prefix(taken);
                if (header_.size() < HEADER) return;
                left_ = get_word(header_.data() + 1);
                told_.clear();
            }
            const std::string_view part = came.substr(0, std::min<size_t>(came.size(), left_));
            came.remove_prefix(part.size());
            left_ -= static_cast<uint32_t>(part.size());
            if (header_[0] == INPUT) pending_ += part;
            else if (told_.size() < MAX_TOLD) told_ += part.substr(0, MAX_TOLD);
            if (left_ > 0) continue;
            if (header_[0] == END_OF_INPUT) input_ended_ = true;
            if (header_[0] == WINDOW_SIZE) set_window_size();
            header_.clear();
        }
    }

    void set_window_size() const {
        winsize size{};
        if (plan_.pty && sscanf(told_.c_str(), "%hux%hu,%hux%hu", &size.ws_row, &size.ws_col, &size.ws_xpixel, &size.ws_ypixel) == 4)
            ioctl(output_.get(), TIOCSWINSZ, &size);
    }

    // A terminal's input has no end of its own.
    void write_pending() {
        while (!pending_.empty() && input_) {
            const ssize_t n = write(input_.get(), pending_.data(), pending_.size());
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && errno == EAGAIN) return;
            if (n < 0) input_.reset(); // it reads no more
            else pending_.erase(0, static_cast<size_t>(n));
        }
        if (!input_) pending_.clear();
        if (input_ended_ && !plan_.pty) input_.reset();
    }

    bool tell(Piece what, std::string_view bytes) const {
        std::string frame;
        if (plan_.framed) {
            frame += static_cast<char>(what);
            put_word(frame, static_cast<uint32_t>(bytes.size()));
        }
        return send_all(socket_, frame + std::string(bytes));
    }

    // Passes one piece on and closes `from` at its end. False when the stream is closed.
    bool pass_on(vh::Fd &from, Piece what, size_t *count = nullptr) const {
        std::array<char, CHUNK> bytes;
        const ssize_t n = read(from.get(), bytes.data(), bytes.size());
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) return true;
        if (n <= 0) { // also EIO of a terminal that all have closed
            from.reset();
            return true;
        }
        if (count) *count += static_cast<size_t>(n);
        return tell(what, {bytes.data(), static_cast<size_t>(n)});
    }

    // The command has ended: what it had written is still told; what it left running is not waited for.
    void finish() {
        for (auto &[from, what] : {std::pair(&output_, OUTPUT), std::pair(&errors_, ERRORS)})
            for (size_t count = 0, before = 1; *from && count != before && count < MAX_LAST_OUTPUT;) {
                before = count;
                if (!pass_on(*from, what, &count)) return;
            }
        int status = 0;
        if (waitpid(pid_, &status, 0) != pid_) return;
        pid_ = -1;
        const int shell = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        if (plan_.framed) tell(EXIT, std::string(1, static_cast<char>(shell)));
    }

    // The client has left before the command ended.
    void end() {
        if (pid_ <= 0) return;
        kill(-pid_, SIGHUP);
        pollfd ended{process_.get(), POLLIN, 0};
        if (poll(&ended, 1, HANG_UP_GRACE_MS) != 1) kill(-pid_, SIGKILL);
    }

    static constexpr size_t HEADER = 5, MAX_TOLD = 64;
    const int socket_;
    const ShellPlan &plan_;
    pid_t pid_ = -1;
    vh::Fd process_, input_, output_, errors_;
    std::string pending_; // for the command's input
    std::string header_, told_;
    uint32_t left_ = 0; // of the frame's bytes
    bool input_ended_ = false;
};
} // namespace

void serve_shell(int socket, const ShellPlan &plan) {
    signal(SIGPIPE, SIG_IGN);
    Shell shell(socket, plan);
    if (shell.start()) shell.serve();
}

} // namespace bridge
