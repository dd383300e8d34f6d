// What the demonstration's operator does in each test, and the texts by which the screens are known.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace cli {

class Operator;

struct DemoItem {
    const char *domain, *title_key;
    int station; // -1: the item has no flag
    // What the test wants, up to the key that passes it; null: it passes by itself. Throws NotGood.
    void (*act)(Operator &) = nullptr;
    bool full_screen = false; // opens without title and texts
};

class DemoScript {
public:
    // Reads a main configuration and a language file (UTF-8, as in virtual/rootfs); throws vh::ClientError.
    DemoScript(const std::string &config_file, const std::string &language_file);
    const std::vector<DemoItem> &items() const { return items_; } // enabled and part of an automatic run, in its order
    std::string text(const std::string &language_key) const;      // the key itself when there is no text

private:
    std::vector<DemoItem> items_;
    std::map<std::string, std::string> texts_;
};

// A handset as it comes to the station: no charger, no cards; somebody speaks.
void prepare_handset(Operator &person);

} // namespace cli
