// What the demonstration's operator has to know: the configured items in the order of a run, and the texts on the screen.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace cli {

struct DemoItem {
    std::string domain, title_key;
    int station = -1;
};

class DemoScript {
public:
    // Reads a main configuration and a language file (UTF-8, as in virtual/rootfs); throws vh::ClientError.
    DemoScript(const std::string &config_file, const std::string &language_file);
    const std::vector<DemoItem> &items() const { return items_; } // enabled and part of an automatic run
    std::string text(const std::string &language_key) const;      // the key itself when there is no text

private:
    std::vector<DemoItem> items_;
    std::map<std::string, std::string> texts_;
};

} // namespace cli
