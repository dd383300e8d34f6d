// SIM and memory cards.
#include <cstring>
#include <factory/api.h>
#include <factory/watch.h>
#include <iterator>
#include <tki_hardware.h>

static bool operator==(const tki_card_event &a, const tki_card_event &b) {
    return a.card == b.card && a.fitted == b.fitted && a.present == b.present && a.bytes == b.bytes && strcmp(a.text, b.text) == 0;
}

namespace {
constexpr const char *HOSTS = "/sys/class/mmc_host/";
constexpr uint64_t SECTOR = 512;
constexpr const char *ANSWERING[] = {"READY", "PIN_REQUIRED", "PUK_REQUIRED", "NETWORK_LOCKED"};

hal::CallbackThread g_watch;

void set_text(tki_card_event &card, std::string_view text) {
    text = text.substr(0, sizeof card.text - 1);
    std::copy(text.begin(), text.end(), card.text);
    card.text[text.size()] = '\0';
}

std::vector<std::string> sim_attributes() {
    std::vector<std::string> paths;
    for (const int sim : {TKI_CARD_SIM0, TKI_CARD_SIM1})
        for (const char *what : {"present", "state", "iccid"}) paths.push_back("/sys/class/sim/sim" + std::to_string(sim) + "/" + what);
    return paths;
}

// texts: of sim_attributes().
tki_card_event sim_card(int sim, std::span<const factory::AttributeText> texts) {
    const auto &present = texts[static_cast<size_t>(sim) * 3], &state = texts[static_cast<size_t>(sim) * 3 + 1],
               &iccid = texts[static_cast<size_t>(sim) * 3 + 2];
    tki_card_event card{sim, present ? 1 : 0, 0, 0, {}};
    const bool answers = state && std::find(std::begin(ANSWERING), std::end(ANSWERING), *state) != std::end(ANSWERING);
    card.present = present == "1" && answers ? 1 : 0;
    if (card.present && iccid) set_text(card, *iccid);
    return card;
}

bool is_soldered(const std::string &card, const std::string &block) {
    const auto type = hal::read_attribute((card + "/type").c_str());
    if (type) return *type != "SD";
    return hal::read_attribute((block + "/removable").c_str()) == "0";
}

// A slot is a host that has no soldered flash.
tki_card_event sd_card() {
    tki_card_event slot{TKI_CARD_SD, 0, 0, 0, {}};
    for (const std::string &host : hal::folder_names(HOSTS)) {
        bool soldered = false;
        const std::string folder = HOSTS + host + "/";
        for (const std::string &name : hal::folder_names(folder.c_str())) {
            const std::string card = folder + name;
            const auto blocks = hal::folder_names((card + "/block").c_str());
            if (blocks.empty()) continue;
            const std::string block = card + "/block/" + blocks.front();
            soldered = soldered || is_soldered(card, block);
            const auto sectors = hal::parse_int64(hal::read_attribute((block + "/size").c_str()).value_or(""));
            if (soldered || !sectors || *sectors <= 0) continue;
            slot.fitted = slot.present = 1;
            slot.bytes = static_cast<uint64_t>(*sectors) * SECTOR;
            set_text(slot, hal::read_attribute((card + "/name").c_str()).value_or(blocks.front()));
            return slot;
        }
        if (!soldered) slot.fitted = 1;
    }
    return slot;
}

std::vector<tki_card_event> look(std::span<const factory::AttributeText> texts) {
    return {sim_card(TKI_CARD_SIM0, texts), sim_card(TKI_CARD_SIM1, texts), sd_card()};
}

std::vector<tki_card_event> look_now() { return look(factory::Attributes(sim_attributes()).read()); }
} // namespace

TKI_API(int) tki_api_Card_Read(int card, tki_card_event *out) noexcept {
    for (const tki_card_event &found : look_now()) {
        if (found.card != card || !out) continue;
        if (!found.fitted) HAL_LOG_E(FACTORY_TAG, "not fitted: no slot of card %d", card);
        *out = found;
        return found.fitted ? 0 : -1;
    }
    HAL_LOG_E(FACTORY_TAG, "no card %d (%d, %d, %d)", card, TKI_CARD_SIM0, TKI_CARD_SIM1, TKI_CARD_SD);
    return -1;
}

TKI_API(int) tki_api_AllCard_Test_Start(tki_callback cb) noexcept {
    g_watch.stop();
    const auto cards = look_now();
    const bool fitted = std::any_of(cards.begin(), cards.end(), [](const tki_card_event &card) { return card.fitted; });
    if (!fitted) HAL_LOG_E(FACTORY_TAG, "not fitted: neither /sys/class/sim nor %s has a slot", HOSTS);
    if (!fitted || !cb) return -1;
    const auto body = [cb](hal::CallbackThread::Run &run) {
        factory::watch<tki_card_event>(run, cb, TKI_MODULE_CARDS, sim_attributes(), look);
    };
    return g_watch.start(FACTORY_TAG, "cards", body) ? 0 : -1;
}

TKI_API(int) tki_api_AllCard_Test_Stop() noexcept {
    g_watch.stop();
    return 0;
}
