#include "lint/lint.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "lint/entries.h"
#include "lint/known.h"
#include "lint/source_text.h"

namespace vh {

namespace {
constexpr size_t MAX_PAIRS = 12;
constexpr size_t MAX_TEXTS = 1999;
constexpr size_t SHORTEST_LIST = 3;

std::string shown(const std::string &gbk) { return "'" + utf8_from_gbk_text(gbk) + "'"; }
std::string in_line(int line) { return " (line " + std::to_string(line) + ")"; }

using Findings = std::vector<Finding>;

// An entry of the file answers every request that its names begin; the first such entry wins.
bool hides(const Entry &earlier, const Entry &later, TextKind kind) {
    if (!later.domain.starts_with(earlier.domain)) return false;
    return kind == TextKind::config ? later.key.starts_with(earlier.key) : later.key == earlier.key;
}

void check_hidden(const Entries &all, TextKind kind, Findings &findings) {
    for (auto later = all.entries.begin(); later != all.entries.end(); ++later) {
        const auto earlier = std::find_if(all.entries.begin(), later,
                                          [&](const Entry &entry) { return hides(entry, *later, kind); });
        if (earlier == later) continue;
        std::string text = shown(later->key) + " is never read: ";
        if (earlier->domain != later->domain)
            text += "section [" + utf8_from_gbk_text(earlier->domain) +
                    "], with which its section begins, has " + shown(earlier->key);
        else if (earlier->key != later->key)
            text += shown(earlier->key) + ", with which it begins, answers first";
        else
            text += "the section has it already";
        findings.push_back({later->line, text + in_line(earlier->line)});
    }
}

// ---- the main configuration

void check_pair(const Entry &entry, std::string_view pair, std::vector<std::string> &names,
                Findings &findings) {
    const size_t colon = pair.find(':');
    const std::string name(trimmed(pair.substr(0, colon))), value(trimmed(pair.substr(colon + 1)));
    const auto say = [&](const std::string &text) {
        findings.push_back({entry.line, shown(entry.key) + ": " + text});
    };
    if (pair.size() > NAME_MAX_BYTES) say("a pair has more than 255 bytes and is cut");
    const auto hiding = std::find_if(names.begin(), names.end(),
                                     [&](const std::string &earlier) { return earlier.starts_with(name); });
    if (hiding != names.end())
        say("pair " + shown(name) + " is never read: " + shown(*hiding) + " stands before it");
    const auto kind = kind_of_pair(entry.domain, entry.key, name);
    if (!kind)
        say("nothing reads a pair " + shown(name) + hint(name, known_pairs(entry.domain, entry.key)));
    else if (const std::string fault = fault_of_value(value, *kind); !fault.empty())
        say(utf8_from_gbk_text(name + ": " + fault));
    names.push_back(name);
}

void check_list(const Entry &entry, Findings &findings) {
    const auto say = [&](const std::string &text) {
        findings.push_back({entry.line, shown(entry.key) + ": " + text});
    };
    if (!entry.value.empty() && entry.value.size() < SHORTEST_LIST)
        return say("a list of fewer than 3 characters is not read");
    std::vector<std::string> names;
    std::string_view rest = entry.value;
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(';'), rest.size());
        const std::string_view pair = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (pair.find(':') == std::string_view::npos)
            return say(shown(std::string(pair)) + " has no ':', which ends the list" +
                       (rest.empty() ? "" : "; what follows is not read"));
        if (names.size() == MAX_PAIRS) return say("more than 12 pairs; the rest is not read");
        if (pair.starts_with(':'))
            say("a pair without a name is not read");
        else
            check_pair(entry, pair, names, findings);
    }
}

void check_config_entry(const Entry &entry, Findings &findings) {
    const auto kind = kind_of_key(entry.domain, entry.key);
    if (!kind) {
        findings.push_back({entry.line, "nothing reads " + shown(entry.key) + " of [" +
                                            utf8_from_gbk_text(entry.domain) + "]" +
                                            hint(entry.key, known_keys(entry.domain))});
    } else if (kind == ValueKind::list) {
        check_list(entry, findings);
    } else if (const std::string fault = fault_of_value(entry.value, *kind);
               !fault.empty() && !entry.value.empty()) {
        findings.push_back({entry.line, shown(entry.key) + ": " +
                                            utf8_from_gbk_text(fault)}); // an empty value is the default
    }
}

void check_config(const Entries &all, Findings &findings) {
    const std::vector<std::string> sections = known_sections();
    for (const Domain &domain : all.domains)
        if (!has(sections, domain.name))
            findings.push_back({domain.line, "nothing reads section [" + utf8_from_gbk_text(domain.name) +
                                                 "]" + hint(domain.name, sections)});
    for (const Entry &entry : all.entries)
        if (has(sections, entry.domain)) check_config_entry(entry, findings);
}

// ---- the language file

std::vector<std::string> known_texts() { return {std::begin(SHOWN_TEXTS), std::end(SHOWN_TEXTS)}; }

void check_text(const Entry &entry, const std::vector<std::string> &known, Findings &findings) {
    if (!has(known, entry.key))
        findings.push_back({entry.line, "no screen shows " + shown(entry.key) + hint(entry.key, known)});
    if (entry.value.empty())
        findings.push_back({entry.line, shown(entry.key) + " is empty: the screen shows nothing"});
    const bool numbered = std::find(std::begin(NUMBERED_TEXTS), std::end(NUMBERED_TEXTS), entry.key) !=
                          std::end(NUMBERED_TEXTS);
    if (numbered && entry.value.find("%d") == std::string::npos)
        findings.push_back(
            {entry.line, shown(entry.key) + " has lost its %d, where the program writes the number"});
}

// What one language has and lacks: its own section and those with which its name begins.
void check_language(const Domain &language, const Entries &all, Findings &findings) {
    std::vector<std::string> keys;
    for (const Entry &entry : all.entries) {
        if (!language.name.starts_with(entry.domain)) continue;
        keys.push_back(entry.key);
        if (keys.size() == MAX_TEXTS + 1)
            findings.push_back({entry.line, "more than 1999 texts of one language; the rest is not read"});
    }
    for (const char *key : SHOWN_TEXTS)
        if (!has(keys, key))
            findings.push_back({language.line, "[" + utf8_from_gbk_text(language.name) + "] lacks '" + key +
                                                   "'; the screen shows the key"});
}

void check_languages(const Entries &all, Findings &findings) {
    const std::vector<std::string> known = known_texts();
    for (const Entry &entry : all.entries) check_text(entry, known, findings);
    std::vector<std::string> seen;
    for (const Domain &language : all.domains) {
        if (has(seen, language.name)) continue;
        seen.push_back(language.name);
        check_language(language, all, findings);
    }
}

std::string content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) throw std::runtime_error("cannot read " + path);
    return text;
}

// Whether the language that the configuration chooses has a section.
void check_choice(const std::string &config, const std::string &language, bool installed,
                  Findings &findings) {
    Findings ignored;
    const Entries settings = read_entries(config, installed, ignored),
                  texts = read_entries(language, installed, ignored);
    for (const Entry &entry : settings.entries) {
        if (entry.domain != "MMI" || entry.key != "Language" || entry.value.empty()) continue;
        const bool there = std::any_of(texts.domains.begin(), texts.domains.end(), [&](const Domain &domain) {
            return entry.value.starts_with(domain.name);
        });
        if (!there)
            findings.push_back(
                {entry.line, "the language file has no section [" + utf8_from_gbk_text(entry.value) + "]"});
        return;
    }
}

void append(std::vector<std::string> &out, const std::string &path, Findings findings) {
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding &a, const Finding &b) { return a.line < b.line; });
    for (const Finding &finding : findings)
        out.push_back(path + ":" + std::to_string(finding.line) + ": " + finding.text);
}
} // namespace

std::vector<Finding> lint_text(const std::string &bytes, TextKind kind, bool installed) {
    Findings findings;
    const Entries all = read_entries(bytes, installed, findings);
    check_hidden(all, kind, findings);
    if (kind == TextKind::config)
        check_config(all, findings);
    else
        check_languages(all, findings);
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding &a, const Finding &b) { return a.line < b.line; });
    return findings;
}

std::vector<std::string> lint_files(const std::string &config, const std::string &language, bool installed) {
    const std::string settings = config.empty() ? "" : content(config),
                      texts = language.empty() ? "" : content(language);
    std::vector<std::string> out;
    if (!config.empty()) {
        Findings findings = lint_text(settings, TextKind::config, installed);
        if (!language.empty()) check_choice(settings, texts, installed, findings);
        append(out, config, std::move(findings));
    }
    if (!language.empty()) append(out, language, lint_text(texts, TextKind::language, installed));
    return out;
}

} // namespace vh
