// The upload of aging results: a real broker in the handset's own network, stopped and started in between. Nothing is lost, and
// nothing comes twice.
#include "scenario/aging_runs.h"

#include <fstream>
#include <set>

using namespace aging_runs;

namespace {
constexpr int PORT = 20002;
constexpr char SPOOL[] = "/aging_upload";

constexpr char HERE[] = "127.0.0.1", BESIDE[] = "192.168.1.1"; // on the handset itself, on a host in the access point's network

std::vector<Setting> uploading(std::vector<Setting> settings, const std::string &address = HERE, const std::string &more = "") {
    settings.push_back({"TKI_AGING", "savedb", "enable:1;time:1;SSID:DFX_WIFI_TEST" + more});
    settings.push_back({"TKI_AGING", "uploadip", address + ":" + std::to_string(PORT)});
    return settings;
}

// A broker, which keeps its sessions in /cache, and somebody who listens to it.
class Broker {
public:
    explicit Broker(const Handset &handset, std::string address = HERE, const std::string &more = "")
        : handset_(handset), address_(std::move(address)) {
        std::ofstream(handset.cache() + "/broker.conf") << "listener " << PORT << " " << address_ << "\nallow_anonymous true\nuser root\n"
                                                        << "pid_file /cache/broker.pid\npersistence true\npersistence_location /cache/\n"
                                                        << "log_dest file /cache/broker.log\nlog_type all\n"
                                                        << more;
    }
    void start(const std::string &listener_options = "") const {
        const auto outcome = run(
            "rm -f /cache/broker.pid; mosquitto -d -c /cache/broker.conf 2>&1 || cat /cache/broker.log\n"
            "for i in 1 2 3 4 5 6 7 8 9 10; do [ -s /cache/broker.pid ] && break; sleep 0.1; done\n"
            "grep -qs mosquitto_sub /proc/$(cat /cache/ear.pid)/cmdline && exit\n"
            "mosquitto_sub -h " + address_ + " -p " + std::to_string(PORT) + " " + listener_options +
            " -t 'aging/#' -q 1 -c -i ear -F '%t %p' </dev/null >>/cache/heard 2>/cache/ear.log & echo $! >/cache/ear.pid\n"
            "for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do grep -q 'SUBSCRIBE from ear' /cache/broker.log && exit; sleep 0.1; done; "
            "cat /cache/broker.log /cache/ear.log; exit 1");
        ASSERT_EQ(outcome.status, 0) << outcome.output;
    }
    void stop() const {
        run("kill $(cat /cache/broker.pid); while kill -0 $(cat /cache/broker.pid) 2>/dev/null; do sleep 0.02; done; rm -f /cache/broker.pid");
    }
    std::vector<std::pair<std::string, nlohmann::json>> heard() const { // topic, message
        std::vector<std::pair<std::string, nlohmann::json>> all;
        std::istringstream lines(content_of(handset_.cache() + "/heard"));
        for (std::string topic, text; lines >> topic && std::getline(lines, text);)
            if (!lines.eof()) all.emplace_back(topic, nlohmann::json::parse(text));
        return all;
    }

    // As the broker tells it: what it repeats to a listener whose answer it did not hear before it stopped does not count.
    int received() const {
        int count = 0;
        std::istringstream lines(content_of(handset_.cache() + "/broker.log"));
        for (std::string line; std::getline(lines, line);) count += holds(line, "Received PUBLISH from mmi-");
        return count;
    }

private:
    vh::Client::Outcome run(const std::string &line) const {
        return address_ == HERE ? handset_.shell(line) : handset_.tool({"ap", "--run", line});
    }
    const Handset &handset_;
    std::string address_;
};

std::vector<std::string> waiting(const Handset &handset) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(handset.cache() + SPOOL, error))
        if (entry.path().extension() == ".json") names.push_back(entry.path().filename());
    return names;
}
void wait_sent(const Handset &handset) {
    handset.wait_until("an empty spool", [&] { return waiting(handset).empty(); }, LONG_MS);
}

// Messages that an earlier run could not send.
void leave_behind(const vh::StatePaths &paths, int count) {
    std::filesystem::create_directories(paths.cache() + SPOOL);
    for (int i = 0; i < count; ++i) {
        char name[64];
        snprintf(name, sizeof name, "/001790000000-%05d-trend.json", i);
        std::ofstream(paths.cache() + SPOOL + name) << nlohmann::json{{"id", "old-" + std::to_string(i)}, {"filler", std::string(2000, 'x')}};
    }
}
std::set<std::string> ids(const Broker &broker) {
    std::set<std::string> all;
    for (const auto &[topic, message] : broker.heard()) all.insert(message.at("id"));
    return all;
}
} // namespace

TEST(Upload, ARunWaitsForItsBrokerAndTheKeySendsIt) {
    Handset handset({.speed = FAST,
                     .settings = uploading(phases({{"cpufullload", "time:1"}, {"ExternBattery", "1"}}), BESIDE),
                     .before_boot = [](const vh::StatePaths &paths) {
                         std::ofstream(paths.part("vxoprod"), std::ios::binary) << "psn=A/B+#\"1\nsoft=V1\nhard=H\n" << std::string(100, '\0');
                     }});
    const Broker broker(handset, BESIDE);
    std::ofstream(handset.client().paths().run() + "/instead/lib_vxo_mqtt.so") << "not a library";
    start(handset);
    see(handset, "lib_vxo_mqtt.so not fitted");
    EXPECT_EQ(handset.station(BURN_IN), Verdict::pass);
    EXPECT_EQ(waiting(handset).size(), 2U);
    std::filesystem::remove(handset.client().paths().run() + "/instead/lib_vxo_mqtt.so");
    runs::tap_softkey(handset, 0);
    see(handset, "Upload fails: broker: Connection refused"); // the network is joined
    broker.start();
    runs::tap_softkey(handset, 0);
    see(handset, "Upload done: 2");
    handset.wait_until("both messages", [&] { return broker.heard().size() == 2; });
    const auto heard = broker.heard();
    EXPECT_EQ(heard[0].first + " " + heard[1].first, "aging/A_B__\"1/result aging/A_B__\"1/trend");
    const nlohmann::json &result = heard[0].second, &trend = heard[1].second;
    EXPECT_EQ(result.at("verdict"), "pass");
    EXPECT_EQ(result.at("psn"), "A/B+#\"1");
    EXPECT_EQ(result.at("records").at(0), (nlohmann::json{{"name", "CPU"}, {"result", "success"}, {"comment", "1 minutes"}}));
    const std::string csv = file(handset, "/tki/aging/agingtrend.csv");
    EXPECT_EQ(trend.at("points").size() + 1, static_cast<size_t>(std::count(csv.begin(), csv.end(), '\n')));
    EXPECT_EQ(trend.at("points").at(0).at(1), "cpu");
    confirm(handset);
    handset.wait_for_text("Start aging");
    handset.wait_ms(60000); // what must not happen cannot be waited for
    EXPECT_EQ(broker.received(), 2);
}

namespace {
// How many messages a broker gets that stops and starts three times; the second time something else happens as well.
int sent_with_breaks(int messages, void (*accident)(Handset &)) {
    Handset handset({.speed = FAST, .settings = uploading(phases({})), .before_boot = [=](const vh::StatePaths &paths) { leave_behind(paths, messages); }});
    const Broker broker(handset);
    for (int part = 1; part <= 3; ++part) {
        broker.start();
        handset.wait_until("a part of the messages", [&] { return static_cast<int>(waiting(handset).size()) <= messages - part * messages / 5; }, LONG_MS);
        if (part == 2) accident(handset);
        broker.stop();
    }
    broker.start();
    wait_sent(handset);
    handset.wait_until("the last message", [&] { return static_cast<int>(ids(broker).size()) == messages; }, LONG_MS);
    return broker.received();
}
} // namespace

TEST(Upload, NothingIsLostOrSentTwiceOverABrokerThatComesAndGoes) { EXPECT_EQ(sent_with_breaks(300, [](Handset &) {}), 300); }

TEST(Upload, AKilledProgramLosesNothingAndRepeatsTheOneInFlightAtMost) {
    const int received = sent_with_breaks(200, [](Handset &handset) { handset.kill_program(); });
    EXPECT_TRUE(received == 200 || received == 201) << received;
}

TEST(Upload, ByTlsOnlyToABrokerOfTheConfiguredAuthority) {
    Handset handset({.speed = FAST,
                     .settings = uploading(phases({}), HERE, ";CAFile:/cache/ca.pem;Protocol:5"),
                     .before_boot = [](const vh::StatePaths &paths) { leave_behind(paths, 3); }});
    const auto made = handset.shell(
        "cd /cache && printf '[req]\ndistinguished_name=dn\n[dn]\n' >openssl.cnf && export OPENSSL_CONF=/cache/openssl.cnf && for ca in ca other; do openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -subj /CN=$ca -addext basicConstraints=critical,CA:TRUE "
        "-keyout $ca.key -out $ca.pem; done 2>&1 && printf subjectAltName=IP:127.0.0.1,DNS:localhost >san && openssl req -newkey ec -pkeyopt "
        "ec_paramgen_curve:P-256 -nodes -subj /CN=broker -keyout broker.key -out broker.csr 2>&1 && openssl x509 -req -days 30 -in broker.csr -CA "
        "ca.pem -CAkey ca.key -CAcreateserial -extfile san -out broker.pem 2>&1 && cp ca.pem right.pem && cp other.pem ca.pem");
    ASSERT_EQ(made.status, 0) << made.output;
    const Broker broker(handset, HERE, "certfile /cache/broker.pem\nkeyfile /cache/broker.key\n");
    broker.start("--cafile /cache/right.pem");
    handset.wait_until("the refusal", [&] { return holds(file(handset, "/tki/tki.log"), "[Upload] 0 sent, 3 wait."); }, LONG_MS);
    EXPECT_EQ(waiting(handset).size(), 3U);
    std::filesystem::copy_file(handset.cache() + "/right.pem", handset.cache() + "/ca.pem", std::filesystem::copy_options::overwrite_existing);
    wait_sent(handset);
    handset.wait_until("the messages", [&] { return ids(broker).size() == 3; });
    EXPECT_EQ(broker.received(), 3);
}

// Between the note of a verdict and its messages. A run that was still counted as running has no verdict: it goes on.
TEST(Upload, ARunThatWasNotedBeforeAPowerCutIsSentAndOneThatGoesOnIsNot) {
    for (const bool running : {false, true}) {
        Handset handset({.speed = FAST, .settings = uploading(phases({})), .before_boot = [=](const vh::StatePaths &paths) {
                             std::filesystem::create_directories(paths.cache() + SPOOL);
                             std::filesystem::create_directories(paths.cache() + "/tki/aging");
                             std::ofstream(paths.cache() + SPOOL + "/pending") << "run=1790000000\nseconds=61\nverdict=pass\ntext=Aging PASS!\nTotal";
                             std::ofstream(paths.cache() + "/tki/aging/agingtotalresult.txt") << "[CPU]\nResult=success\nComment=1 minutes\n";
                             std::ofstream(paths.cache() + "/tki/agingrun.txt") << "running=" << running << "\nphase=cpu\n";
                             leave_behind(paths, 1);
                         }});
        const Broker broker(handset);
        broker.start();
        wait_sent(handset);
        handset.wait_until("the message left behind", [&] { return ids(broker).contains("old-0"); }, LONG_MS);
        EXPECT_FALSE(std::filesystem::exists(handset.cache() + SPOOL + "/pending"));
        EXPECT_EQ(broker.received(), running ? 1 : 2);
        if (running) continue;
        handset.wait_until("the result", [&] { return broker.heard().size() == 2; }, LONG_MS);
        const nlohmann::json result = broker.heard()[0].second;
        EXPECT_EQ(result.at("id").get<std::string>().substr(result.at("psn").get<std::string>().size()), "-1790000000-0");
        EXPECT_EQ(result.at("verdict").get<std::string>() + " " + result.at("text").get<std::string>(), "pass Aging PASS!\nTotal");
        EXPECT_EQ(result.at("records").size(), 1U);
    }
}
