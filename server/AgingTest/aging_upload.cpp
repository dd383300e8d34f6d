#include "AgingTest/aging_upload.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <mqtt/mqtt.h>
#include <mutex>
#include <tki_factory.h>
#include <tp_clock.h>
#include <tp_os.h>
#include <vector>

#include "AgingTest/aging_files.h"
#include "AgingTest/aging_resets.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "AgingTest/aging_spool.h"
#include "AgingTest/aging_trend.h"
#include "AgingTest/mmi_testwnd_AgingTest_AutoTest.h"
#include "base/encoding.h"
#include "base/log_door.h"
#include "base/worker.h"
#include "device/diag_log.h"
#include "device/factory_slots.h"

bool (*g_aging_join_network)(const char *ssid) = nullptr;

namespace {
constexpr const char *LIBRARY = "lib_vxo_mqtt.so";
constexpr int DEFAULT_PORT = 20002; // agreed
constexpr size_t POINTS = 360;      // of a message: an hour
constexpr int64_t FIRST_MS = 30000, MINUTE_MS = 60000;
constexpr int RETRY_MINUTES = 10;
constexpr size_t CLIENT_ID_MAX = 23; // every broker takes as much

struct Settings {
    std::string server, ssid, ca_file;
    int protocol = 4, retry_minutes = RETRY_MINUTES;
};
Settings settings() {
    return {g_iport, g_cSaveDbSSID, g_cSaveDbCa, g_iSaveDbProtocol, g_iSaveDbTime > 0 ? g_iSaveDbTime : RETRY_MINUTES};
}

Worker g_worker;
std::atomic<int> g_sending{0};
std::mutex g_mutex; // one sender at a time; guards what follows
VxoMqttOpen g_open = nullptr;
VxoMqttPublish g_publish = nullptr;
VxoMqttClose g_close = nullptr;

std::mutex g_verdict_mutex; // guards what follows
std::string g_verdict_text;
int g_verdict_state = SHOW_RUNNING;

class Sending {
public:
    Sending() { ++g_sending; }
    ~Sending() { --g_sending; }
    Sending(const Sending &) = delete;
    Sending &operator=(const Sending &) = delete;
};

// ---- messages ------------------------------------------------------------------------------------------------------

std::string quoted(std::string_view gbk) {
    std::string out = "\"";
    for (const char c : utf8_from_gbk(gbk)) {
        if (c == '"' || c == '\\') out += '\\';
        if (const auto byte = static_cast<unsigned char>(c); byte >= 0x20 && byte != 0x7f) {
            out += c;
        } else {
            char code[8];
            snprintf(code, sizeof code, "\\u%04x", byte);
            out += code;
        }
    }
    return out + "\"";
}
std::string pair(const char *key, std::string_view gbk) { return quoted(key) + ":" + quoted(gbk); }
std::string pair(const char *key, long value) { return quoted(key) + ":" + std::to_string(value); }

std::string text_of(tki_api_GetText_t get) {
    char text[256] = {};
    if (!get || get(text, sizeof text - 1) < 0) return "";
    return text;
}
std::string psn() { return text_of(tki_api_GetPSN); }

// A run that is over, as the pending file tells it: "key=value" lines, the verdict's text last.
struct Over {
    long run = 0, seconds = 0;
    std::string verdict, text;
};
Over over_of(const std::string &pending) {
    Over over;
    char verdict[16] = {};
    int used = 0;
    if (sscanf(pending.c_str(), "run=%ld\nseconds=%ld\nverdict=%15[a-z]\ntext=%n", &over.run, &over.seconds, verdict, &used) == 3 && used)
        over.text = pending.substr(static_cast<size_t>(used));
    over.verdict = verdict;
    return over;
}

std::string head(const Over &over, const char *kind, size_t number, size_t of) {
    const std::string serial = psn();
    return "{" + pair("v", 1) + "," +
           pair("id", serial + "-" + std::to_string(over.run) + "-" + std::to_string(number)) + "," + pair("psn", serial) + "," +
           pair("run", over.run) + "," + pair("kind", kind) + "," + pair("number", static_cast<long>(number)) + "," +
           pair("of", static_cast<long>(of));
}

// The record file's lines as they stand: what they mean is the reader's.
std::string records() {
    std::string out, fields;
    const auto end_record = [&] {
        if (!fields.empty()) out += (out.empty() ? "{" : ",{") + fields + "}";
        fields.clear();
    };
    const std::string path = aging_log_path(AGING_RESULT_LOG);
    FILE *file = fopen(path.c_str(), "re");
    if (!file) return out;
    for (char line[AGING_FILE_MAX]; fgets(line, sizeof line, file);) {
        line[strcspn(line, "\r\n")] = '\0';
        char *const value = strchr(line, '=');
        if (line[0] == '[') {
            end_record();
            line[strcspn(line, "]")] = '\0';
            fields = pair("name", line + 1);
        } else if (value && !fields.empty()) {
            *value = '\0';
            const char *key = strcmp(line, "Result") == 0 ? "result" : strcmp(line, "Comment") == 0 ? "comment" : nullptr;
            if (key) fields += "," + pair(key, value + 1);
        }
    }
    fclose(file);
    end_record();
    return out;
}

std::string result_message(const Over &over, size_t of) {
    const AgingAccount account = aging_account();
    return head(over, "result", 0, of) + "," + pair("verdict", over.verdict) + "," + pair("text", over.text) + "," +
           pair("started", over.run) + "," + pair("seconds", over.seconds) + "," + pair("cycles", g_cycles) + "," +
           pair("software", text_of(tki_api_GetSoftVersion)) + "," + pair("hardware", text_of(tki_api_GetHardVersion)) +
           ",\"resets\":{" + pair("wanted", account.wanted_resets) + "," + pair("unwanted", account.unwanted_resets) + "," +
           pair("last_unwanted_phase", account.lost_phase) + "},\"records\":[" + records() + "]," +
           pair("spool_dropped", aging_spool_dropped()) + "}";
}

std::string trend_message(const Over &over, const std::vector<AgingTrendPoint> &points, size_t number, size_t of) {
    std::string out = head(over, "trend", number, of) +
                      ",\"columns\":[\"time\",\"phase\",\"level\",\"voltage_mV\",\"current_mA\",\"temperature_C10\",\"cpu\"],\"points\":[";
    const size_t first = (number - 1) * POINTS, end = std::min(points.size(), first + POINTS);
    for (size_t i = first; i < end; ++i) {
        const AgingTrendPoint &p = points[i];
        char text[128];
        snprintf(text, sizeof text, "%s[%ld,\"%s\",%d,%d,%d,%d,[", i > first ? "," : "", p.time, p.phase, p.level, p.voltage, p.current,
                 p.temperature);
        out += text;
        for (size_t core = 0; core < p.cpu.size(); ++core) {
            snprintf(text, sizeof text, "%s%.1f", core ? "," : "", std::clamp(p.cpu[core], 0.0, 100.0));
            out += text;
        }
        out += "]]";
    }
    return out + "]}";
}

// Puts the run that was noted into the spool. Once more behind a power cut it makes the same messages of the same names.
bool collect() {
    const std::string pending = aging_spool_pending();
    if (pending.empty()) return true;
    const Over over = over_of(pending);
    const std::vector<AgingTrendPoint> points = aging_trend_read(aging_trend_path().c_str());
    const size_t of = 1 + (points.size() + POINTS - 1) / POINTS;
    bool kept = over.run > 0 && aging_spool_put(aging_spool_name(over.run, 0, "result"), result_message(over, of));
    for (size_t i = 1; kept && i < of; ++i)
        kept = aging_spool_put(aging_spool_name(over.run, static_cast<int>(i), "trend"), trend_message(over, points, i, of));
    if (!kept && over.run > 0) {
        LOG_E(AGING_TAG, "the results are not kept in %s: no room?", AGING_SPOOL);
        return false;
    }
    return aging_spool_set_pending("");
}

// ---- sending --------------------------------------------------------------------------------------------------------

bool load_locked(std::string *error) {
    if (g_open && g_publish && g_close) return true;
    void *library = dlopen(LIBRARY, RTLD_NOW);
    if (library) {
        g_open = reinterpret_cast<VxoMqttOpen>(dlsym(library, "vxo_mqtt_open"));
        g_publish = reinterpret_cast<VxoMqttPublish>(dlsym(library, "vxo_mqtt_publish"));
        g_close = reinterpret_cast<VxoMqttClose>(dlsym(library, "vxo_mqtt_close"));
    }
    if (g_open && g_publish && g_close) return true;
    const char *why = dlerror();
    LOG_E(AGING_TAG, "%s: %s; put it into the loader's path, and libmosquitto", LIBRARY, why ? why : "not the one of this program");
    *error = std::string(LIBRARY) + " not fitted";
    return false;
}

struct Connection {
    VxoMqtt *mqtt = nullptr;
    ~Connection() {
        if (mqtt) g_close(mqtt);
    }
};

bool connect_locked(const Settings &s, const std::string &serial, Connection &connection, std::string *error) {
    std::string host;
    int port = 0;
    if (!aging_upload_server(s.server.c_str(), &host, &port)) {
        *error = "uploadip is no ADDRESS:PORT";
        return false;
    }
    std::string id = "mmi-" + (serial.size() > CLIENT_ID_MAX - 4 ? serial.substr(serial.size() - (CLIENT_ID_MAX - 4)) : serial);
    const VxoMqttServer server{host.c_str(), port, id.c_str(), s.ca_file.empty() ? nullptr : s.ca_file.c_str(), s.protocol,
                               [] { return tp_os_thread_stop_requested() ? 0 : 1; }};
    char why[128] = {};
    connection.mqtt = g_open(&server, why, sizeof why);
    *error = why;
    return connection.mqtt != nullptr;
}

struct Result {
    size_t sent = 0, waiting = 0;
    std::string error;
};

Result send(const Settings &s, bool join, void (*progress)(size_t sent, size_t all)) {
    const Sending sending;
    const std::lock_guard lock(g_mutex);
    const std::vector<std::string> names = aging_spool_list();
    Result result{0, names.size(), ""};
    if (names.empty() || !load_locked(&result.error)) return result;
    const std::string serial = utf8_from_gbk(psn());
    Connection connection;
    if (!connect_locked(s, serial, connection, &result.error)) {
        if (!join || tp_os_thread_stop_requested() || !g_aging_join_network || !g_aging_join_network(s.ssid.c_str())) return result;
        if (!connect_locked(s, serial, connection, &result.error)) return result;
    }
    for (const std::string &name : names) {
        if (progress) progress(result.sent, names.size());
        const std::string text = aging_spool_get(name), topic = aging_upload_topic(serial, aging_spool_kind(name));
        char why[128] = {};
        if (!text.starts_with('{') || !text.ends_with('}')) {
            LOG_E(AGING_TAG, "%s is damaged and dropped", name.c_str());
        } else if (g_publish(connection.mqtt, topic.c_str(), text.data(), text.size(), why, sizeof why) != 0) {
            result.error = why;
            break;
        }
        aging_spool_remove(name);
        ++result.sent;
        --result.waiting;
    }
    return result;
}

void tell(const Result &r, const Settings &s) {
    if (r.waiting)
        LOG_E(AGING_TAG, "upload to %s: %zu sent, %zu wait: %s", s.server.c_str(), r.sent, r.waiting, r.error.c_str());
    else if (r.sent)
        LOG_D(AGING_TAG, "upload to %s: %zu sent", s.server.c_str(), r.sent);
    writetkilog(g_tki_log, "Upload", "%zu sent, %zu wait. %s", r.sent, r.waiting, r.error.c_str());
}

void ShowDbInfo(const char *format, ...) __attribute__((format(printf, 1, 2)));
void ShowDbInfo(const char *format, ...) {
    char line[128];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    std::string text;
    int state = 0;
    {
        const std::lock_guard lock(g_verdict_mutex);
        text = g_verdict_text;
        state = g_verdict_state;
    }
    aging_show(state, "%s\n%s", text.c_str(), line);
}

void in_background(const Settings &s) {
    for (int64_t wait = FIRST_MS; !aging_uploaded(); wait = s.retry_minutes * MINUTE_MS) {
        if (!tp_clock_sleep_or_stop_ns(wait * 1000000)) return;
        collect();
        tell(send(s, false, nullptr), s);
    }
}
} // namespace

bool aging_upload_server(const char *text, std::string *host, int *port) {
    const std::string_view all(text);
    const bool brackets = all.starts_with('[');
    const size_t end = brackets ? all.find(']') : all.find(':');
    if (brackets && end == all.npos) return false;
    *host = brackets ? all.substr(1, end - 1) : all.substr(0, end);
    std::string_view rest = end == all.npos ? "" : all.substr(brackets ? end + 1 : end);
    *port = DEFAULT_PORT;
    const auto fits = [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-' || (brackets && (c == ':' || c == '%'));
    };
    if (host->empty() || !std::all_of(host->begin(), host->end(), fits)) return false;
    if (rest.empty()) return true;
    rest.remove_prefix(1);
    const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), *port);
    return error == std::errc{} && stop == rest.data() + rest.size() && *port > 0 && *port < 65536;
}

std::string aging_upload_topic(const std::string &serial, const std::string &kind) {
    std::string level = serial;
    for (char &c : level)
        if (c == '/' || c == '+' || c == '#' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '_';
    return "aging/" + (level.empty() ? "unknown" : level) + "/" + kind;
}

void aging_upload_note(const char *verdict, const std::string &text, long seconds, int screen_state) {
    {
        const std::lock_guard lock(g_verdict_mutex);
        g_verdict_text = text;
        g_verdict_state = screen_state;
    }
    const long run = aging_number_in(aging_log_path(AGING_START_FILE).c_str(), nullptr, 0);
    aging_spool_set_pending("run=" + std::to_string(run > 0 ? run : tp_clock_time() - seconds) + "\nseconds=" + std::to_string(seconds) +
                            "\nverdict=" + verdict + "\ntext=" + text);
}

void aging_upload_now() {
    const Settings s = settings();
    ShowDbInfo("Upload begins");
    Result result{0, 1, "the results are not kept"};
    if (collect())
        result = send(s, true, [](size_t sent, size_t all) { ShowDbInfo("Upload: %zu of %zu", sent + 1, all); });
    tell(result, s);
    if (result.waiting)
        ShowDbInfo("Upload fails: %s\n%zu wait", result.error.c_str(), result.waiting);
    else
        ShowDbInfo("Upload done: %zu", result.sent);
}

void aging_upload_by_key() {
    g_worker.start("aging-upload", [] {
        aging_upload_now();
        aging_keys_of_end();
    });
}

void aging_upload_in_background() {
    if (aging_uploaded()) return;
    mmi_AgingTest_ReadConfig();
    if (!aging_can_upload()) return;
    g_worker.start("aging-upload", [s = settings()] { in_background(s); });
}

void aging_upload_stop() { g_worker.stop(); }
bool aging_uploading() { return g_sending > 0; }
bool aging_uploaded() { return aging_spool_list().empty() && aging_spool_pending().empty(); }
