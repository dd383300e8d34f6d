// The main configuration: a file of any content answers with bounded texts, and with nothing that it does not
// hold.
#include <cstring>

#include "config/main_config.h"
#include "fuzz.h"

namespace {
void check_value(const std::string &text, const std::string &domain, const std::string &key,
                 const std::string &def, const char *path) {
    auto out = fuzz::exact(CFG_TEXT);
    const int result = Get_CfgValue(path, domain.c_str(), key.c_str(), out.data(), def.c_str());
    FUZZ_CHECK(result == 0 || result == -1);
    FUZZ_CHECK(fuzz::terminated(out));
    const std::string_view value = out.data();
    if (result == -1) FUZZ_CHECK(value.empty() || text.find(value) != std::string::npos);
    if (result == 0) FUZZ_CHECK(value == def || text.find(value) != std::string::npos);
    if (result == 0 && value.empty()) FUZZ_CHECK(def.empty()); // the default stands in for an empty value
}

void check_line(const std::string &line) {
    auto domain = fuzz::exact(CFG_TEXT), key = fuzz::exact(CFG_TEXT), value = fuzz::exact(CFG_TEXT);
    if (mmi_parse_domain(line.c_str(), domain.data()) == 0)
        FUZZ_CHECK(domain[0] && line.find(domain.data()) != std::string::npos);
    mmi_parse_equal(line.c_str(), key.data(), value.data());
    FUZZ_CHECK(fuzz::terminated(key) && fuzz::terminated(value));
    FUZZ_CHECK(strchr(key.data(), '=') == nullptr && line.starts_with(key.data()));
    std::vector<char> text(line.c_str(), line.c_str() + line.size() + 1);
    const char *first = mmi_trim(text.data());
    const std::string_view kept = first;
    FUZZ_CHECK(first >= text.data() && kept.size() <= line.size());
    FUZZ_CHECK(kept.empty() || (!strchr(" \t\n", kept.front()) && !strchr(" \t\n", kept.back())));
}
} // namespace

FUZZ_TARGET(main_config) {
    static const fuzz::ScratchFile file;
    const std::string domain = in.text(20), key = in.text(20), def = in.text(255);
    const std::string text(in.rest());
    file.put(text);
    check_value(text, domain, key, def, file.path());
    check_value(text, "MMI", "Language", "Chinese", file.path());
    check_line(text.substr(0, text.find('\0')));
}
