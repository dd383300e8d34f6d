// Screen texts by key. The program installs where they come from.
#include <tp_globals.h>

#include <string>

namespace {
using Source = int (*)(const char *key, char *out);
std::atomic<Source> g_source{nullptr};
constexpr size_t TEXT_SIZE = 256;
} // namespace

void tp_i18n_set_source(int (*source)(const char *key, char *out)) { g_source = source; }

const char *tp_i18n_get_text(const char *key) {
    thread_local std::string text;
    char found[TEXT_SIZE] = {};
    const Source source = g_source;
    if (!key) key = "";
    if (source && source(key, found) == 0) {
        found[TEXT_SIZE - 1] = '\0';
        text = found;
    } else {
        // A copy, because the key may be a temporary of the caller; taken first, because it may be our last answer.
        text = std::string(key);
    }
    return text.c_str();
}
