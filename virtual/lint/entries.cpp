#include "lint/entries.h"

#include "lint/source_text.h"

namespace vh {

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

namespace {
class Reader {
public:
    explicit Reader(std::vector<Finding> &findings) : m_findings(findings) {}
    void line(const InstalledLine &line);
    Entries result;

private:
    void say(const std::string &text) { m_findings.push_back({m_line, text}); }
    void domain(const std::string &text);
    void entry(const InstalledLine &line);
    std::vector<Finding> &m_findings;
    int m_line = 0;
};

void Reader::line(const InstalledLine &line) {
    m_line = line.number;
    if (line.bytes > LINE_MAX_BYTES)
        return say("the line has " + std::to_string(line.bytes) +
                   " bytes with its end; beyond 2047 it is read as another line");
    if (line.text.starts_with('#')) return;
    if (line.text.starts_with('[')) return domain(line.text);
    if (trimmed(line.text).empty()) return;
    if (result.domains.empty()) return say("stands before the first [SECTION], so it is not read");
    entry(line);
}

void Reader::domain(const std::string &text) {
    const size_t close = text.find(']');
    if (close == std::string::npos || close < 2 || close - 1 > NAME_MAX_BYTES)
        return say("malformed section line: the program stops reading the file here; write [NAME], at most "
                   "255 bytes");
    result.domains.push_back({m_line, text.substr(1, close - 1)});
}

void Reader::entry(const InstalledLine &line) {
    const size_t equal = line.text.find('=');
    if (equal == std::string::npos) return say("no '=': the line is not read; begin comments with '#'");
    Entry entry{m_line, result.domains.back().name, {}, {}};
    entry.key = trimmed(std::string_view(line.text).substr(0, equal));
    entry.value = trimmed(std::string_view(line.text).substr(equal + 1));
    if (entry.key.empty()) return say("nothing before '=': the line is not read");
    if (equal > NAME_MAX_BYTES) return say("the key has more than 255 bytes, so the line is not read");
    if (entry.value.size() > VALUE_MAX_BYTES)
        say("the value of '" + utf8_from_gbk_text(entry.key) + "' has " + std::to_string(entry.value.size()) +
            " bytes in GBK; only 254 are kept");
    if (!line.whole_end && !entry.value.empty())
        say("the line does not end in CR LF, so the value of '" + utf8_from_gbk_text(entry.key) +
            "' loses its last character");
    result.entries.push_back(std::move(entry));
}
} // namespace

Entries read_entries(const std::string &bytes, bool installed, std::vector<Finding> &findings) {
    const InstalledText text = as_installed(bytes, installed);
    findings.insert(findings.end(), text.findings.begin(), text.findings.end());
    Reader reader(findings);
    for (const InstalledLine &line : text.lines) reader.line(line);
    return std::move(reader.result);
}

} // namespace vh
