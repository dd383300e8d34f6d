// The handset's storage under orders: faults of its file systems, a count of what changes them, a power cut at one change.
//
// Every changing operation of the sandbox passes here, one at a time. When the power is to go, the storage is dark: it
// takes nothing and answers nobody until the sandbox is gone.
#pragma once

#include "common/state.h"
#include "storage/undo_log.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace vh {

class Storage {
public:
    // cut_power ends the sandbox at once. Called from any thread, the storage's lock held.
    Storage(const StatePaths &paths, std::function<void()> cut_power);

    // A request with op "storage" of the control socket (common/state.h). Throws std::runtime_error.
    nlohmann::json order(const nlohmann::json &request);
    // sync(2) inside, of all file systems. False: the power went, nobody is answered.
    bool sync();
    // Behind every end of the sandbox. Only a cut loses what it was ordered to lose.
    void sandbox_is_gone();

    enum class Fault { none, full, read_only, eio };
    struct Tree {
        std::string name;   // in orders
        std::string prefix; // below the state folder
        Fault fault = Fault::none;
        uint64_t room = 0; // bytes left under the fault `full`
        UndoLog undo;

        // How many of the bytes find room.
        size_t grant(off_t file_size, off_t offset, size_t size);
    };
    // One changing operation. act does it and returns what the caller gets (0, a count, a negative errno); half does what
    // is in when the power goes in its middle (without it: all is in, and the caller has no answer). They note what they
    // change in the log, which is null while nothing can be taken back.
    enum class Need { nothing, writable, room };
    struct Change {
        const char *kind;
        std::string path; // below the state folder
        pid_t requester = -1;
        Need need = Need::writable;
        std::function<int(Tree &, UndoLog *)> act;
        std::function<void(UndoLog *)> half = {};
    };
    int change(const Change &change);
    // 0, or what a reader gets instead of an answer.
    int check_read(const std::string &path, pid_t requester);
    // 0, or what a change would get; for opening, which changes nothing yet.
    int check_write(const std::string &path);
    // Free bytes as the fault `full` leaves them; nothing otherwise.
    std::optional<uint64_t> free_bytes(const std::string &path);
    // Where a removed file waits for its removal to be durable. Under the lock, in Change::act.
    std::string trash();
    const std::string &root() const { return root_; }

private:
    enum class Phase { before, middle, after };
    struct Operation {
        std::string kind, path;
        bool unsynced = false; // a cut right behind it would take something back
    };

    Tree *tree_of(const std::string &path);
    int refusal(const Tree &tree, Need need) const;
    bool begin_operation(const std::string &kind, const std::string &path);
    void end_operation();
    void go_dark();
    int hold(std::unique_lock<std::mutex> &lock, pid_t requester);
    void arm();
    void order_fault(const std::string &name, const std::string &text);
    void order_cut(const nlohmann::json &cut);
    nlohmann::json report(bool with_list) const;

    const std::string root_;
    const std::function<void()> cut_power_;

    std::mutex mutex_; // everything below
    std::condition_variable light_;
    std::array<Tree, 5> trees_;
    std::vector<Operation> operations_;
    bool armed_ = false, dark_ = false;
    size_t cut_at_ = 0; // 0: no cut
    Phase phase_ = Phase::before;
    bool lose_ = false;
    unsigned trashed_ = 0;
};

} // namespace vh
