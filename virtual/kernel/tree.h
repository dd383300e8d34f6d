// The attributes of the virtual kernel: a table of typed nodes that behave as sysfs attributes do. A write replaces the
// value, a read gives it back with a line end, a bad value is refused. Everything here may be called from any thread.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vh {

// What a node accepts.
struct Rule {
    enum class Kind { integer, choice, text, driver };
    Kind kind = Kind::text;
    long min = 0, max = 0;            // integer
    std::vector<std::string> choices; // choice
    // driver: what becomes of a written text; nothing refuses it. Called without a lock held.
    std::function<std::optional<std::string>(std::string_view)> store;
};
Rule integer(long min, long max);
Rule choice(std::vector<std::string> choices);
Rule text();
Rule driver(std::function<std::optional<std::string>(std::string_view)> store);

enum class Access { read_only, read_write, write_only };

struct Fault {
    enum class Kind { none, eio, stale, delay };
    Kind kind = Kind::none;
    int delay_ms = 0;
};
// "eio", "stale", "delay=MS" or "none"; anything else is nothing.
std::optional<Fault> parse_fault(std::string_view text);
std::string fault_text(const Fault &fault);

struct Node {
    std::string path;
    Rule rule;
    Access access = Access::read_write;
    std::string power_on; // value after a boot; a read-only node keeps what the hardware says
    std::string value;
    std::string stale; // what a reader sees under the stale fault
    Fault fault;
    std::atomic<unsigned> changes{0}; // for poll
    std::atomic<bool> present{true};  // its part is fitted
    std::function<std::string(const std::string &value)> show; // what a read gives; none: the value
};

class Tree {
public:
    void add(const std::string &path, Rule rule, Access access, const std::string &value);
    // Runs after every change of that node's value, on the thread that made it, without a lock held.
    void on_change(const std::string &path, std::function<void(const std::string &value)> reaction);
    // Runs after every change of any node, e.g. to wake pollers. All listeners are added before the tree is served.
    void on_any_change(std::function<void(Node &)> listener) { listeners_.push_back(std::move(listener)); }
    // Makes what a read gives out of the node's value, at each read, on the reader's thread, without a lock held.
    void on_read(const std::string &path, std::function<std::string(const std::string &value)> show);

    // Takes the node of that path, or all nodes below that folder, away or puts them back. A node that is away keeps its
    // value: models go on behind it, a boot resets it; programs do not find it, and its open files answer ENODEV.
    void set_present(const std::string &path, bool present);
    // Runs after names have gone: the topmost one that is no more.
    void on_gone(std::function<void(const std::string &path)> listener) { gone_ = std::move(listener); }

    // From the program's side: 0 or a negative errno. Faults apply.
    int read(Node &node, std::string &out) const;
    int write(Node &node, std::string_view bytes);
    // From the hardware's side: also nodes that are away, read-only ones, and values a driver would refuse. False: no such
    // node.
    bool set(const std::string &path, const std::string &value);
    // The same for the model behind the attribute, which knows already: no reaction runs.
    bool publish(const std::string &path, const std::string &value);
    std::optional<std::string> get(const std::string &path) const;
    bool set_fault(const std::string &path, const Fault &fault);
    // What a boot does to the registers of the drivers. Faults stay: a defect outlives a boot.
    void reset();
    // The last values that the program wrote in this boot (at most JOURNAL), oldest first.
    struct Written {
        std::string path, value;
    };
    std::vector<Written> journal() const;
    size_t written() const; // how many there were in all
    static constexpr size_t JOURNAL = 1000;

    // Every node's path, also of those that are away; what an observer sees of one.
    std::vector<std::string> paths() const;
    struct Seen {
        std::string value, fault; // as parse_fault() takes it
        bool present, settable;   // a program may write it
    };
    std::optional<Seen> look(const std::string &path) const;

    // From the program's side: what is present.
    Node *find(const std::string &path) const;
    bool is_folder(const std::string &path) const;
    std::vector<std::string> children(const std::string &folder) const;

private:
    Node *any(const std::string &path) const;
    void store(Node &node, const std::string &value);
    std::string shown(const Node &node) const;
    Fault fault_waited_out(const Node &node) const;
    void changed(Node &node);
    void change(Node &node, const std::string &value);

    mutable std::mutex mutex_; // values, faults and journal; the table itself is fixed once the tree is served
    std::deque<Written> journal_;
    size_t written_ = 0;
    std::map<std::string, std::unique_ptr<Node>> nodes_;
    std::map<const Node *, std::function<void(const std::string &)>> reactions_;
    std::vector<std::function<void(Node &)>> listeners_;
    std::function<void(const std::string &)> gone_;
};

} // namespace vh
