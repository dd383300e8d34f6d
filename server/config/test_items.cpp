#include "config/test_items.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <span>
#include <utility>

#include "base/log_door.h"

TestItemNode *g_testitem_list = nullptr;
int g_testitem_count = 0;
TestItemNode *g_monomer_list = nullptr;
int g_monomer_count = 0;
char g_current_test_domain[CFG_TEXT] = "";

namespace {
constexpr const char *TAG = "TKI_CONFIG";
std::mutex g_current_mutex;

// A key of the item as a number; failed: the value that counts when the file cannot be read.
int read_number(const TestItem &item, const char *key, const char *def, int failed) {
    bool ok = false;
    const int value = main_config_int(item.config_domain, key, def, &ok);
    return ok ? value : failed;
}

bool read_parameter(TestItem &item) {
    memset(item.parameter, 0, sizeof item.parameter);
    return Read_MainCfgFile(item.config_domain, "parameter", item.parameter, nullptr) == 0;
}

// Whether the file could be read; the text as it stands into text (zeroed).
bool read_enable(TestItem &item, char *text) {
    if (Read_MainCfgFile(item.config_domain, "enable", text, "0") != 0) return false;
    item.item_enable = atoi(text);
    return true;
}

void read_run_keys(TestItem &item) {
    item.item_auto = read_number(item, "auto", "1", 1);
    item.item_mmi = read_number(item, "mmi", "0", 0);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi %d", item.item_mmi);
    item.item_pre = read_number(item, "pre", "1", 0); // a failed read is not the default here: agreed as it stands
}

// A replaced list outlives several rebuilds, because another thread may still be walking it.
std::array<TestItemNode *, 4> g_retired{};
size_t g_retired_next = 0;

void retire(TestItemNode *head) {
    TestItemNode *oldest = std::exchange(g_retired[g_retired_next], head);
    g_retired_next = (g_retired_next + 1) % g_retired.size();
    while (oldest) delete std::exchange(oldest, oldest->pNodeNext);
}

// Behind the list's last node.
void append_copy(TestItemNode *&head, int &count, const TestItem &item) {
    auto *node = new (std::nothrow) TestItemNode;
    if (!node) {
        LOG_E(TAG, "no memory for %s", item.config_domain);
        return;
    }
    node->testitem = item;
    node->testitem.item_index = count++;
    node->pNodeNext = nullptr;
    TestItemNode **end = &head;
    while (*end) end = &(*end)->pNodeNext;
    *end = node;
}

void start_list(int reset) {
    if (reset == 1 && g_testitem_list) retire(std::exchange(g_testitem_list, nullptr));
    g_testitem_count = 0;
}

bool domain_is_prefix(const TestItem &item, const char *name) {
    return strncmp(item.config_domain, name, strlen(item.config_domain)) == 0;
}
} // namespace

void Get_TestItem_Config(int reset) {
    start_list(reset);
    for (TestItem &item : std::span(TestItemWinMenu_TOTAL).first(static_cast<size_t>(g_testitemnum_total))) {
        char text[CFG_TEXT] = {};
        if (!read_enable(item, text)) return;
        read_run_keys(item);
        if (!read_parameter(item)) return;
        if (item.item_enable) append_copy(g_testitem_list, g_testitem_count, item);
    }
}

void Get_AuxLCD_TestItem_Config(int reset) {
    LOG_D(TAG, "g_testitemnum_total=%d", AUX_TESTITEM_TOTAL);
    start_list(reset);
    for (int row = 0; row < AUX_TESTITEM_TOTAL; ++row) {
        TestItem &item = AuxLCD_TestItemWinMenu_TOTAL[row];
        LOG_D(TAG, "domain=%s", item.config_domain);
        char text[CFG_TEXT] = {};
        if (!read_enable(item, text)) return;
        LOG_D(TAG, "strtmp::enable=%s", text);
        LOG_D(TAG, "TestItemWinMenu[%d].item_enable=%d", row, item.item_enable);
        read_run_keys(item);
        if (!read_parameter(item)) return;
        LOG_D(TAG, "domain=%s,enable=%d,parameter=%s", item.config_domain, item.item_enable, item.parameter);
        if (item.item_enable) append_copy(g_testitem_list, g_testitem_count, item);
    }
}

void Get_MonomerPreviewTestItem_Config() {
    g_monomer_count = 0; // the head stays: this runs once, while the list is empty
    for (TestItem &item : MonomerPreview_TestItemWinMenu_TOTAL) {
        LOG_D(TAG, "domain=%s", item.config_domain);
        char text[CFG_TEXT] = {};
        if (!read_enable(item, text)) return;
        LOG_D(TAG, "strtmp::enable=%s", text);
        if (!read_parameter(item)) return;
        if (item.item_enable) append_copy(g_monomer_list, g_monomer_count, item);
    }
}

int tki_config_Get_TestItem_Config_Paras(const char *domain) {
    if (!domain) return -1;
    for (int row = 0; row < g_testitemnum_total; ++row) {
        if (domain_is_prefix(TestItemWinMenu_TOTAL[row], domain)) return row;
    }
    return -1;
}

void set_current_test_domain(const char *domain) {
    const std::lock_guard lock(g_current_mutex);
    const size_t length = strnlen(domain ? domain : "", CFG_TEXT - 1);
    memset(g_current_test_domain, 0, sizeof g_current_test_domain);
    if (length > 0) memcpy(g_current_test_domain, domain, length);
}

int Check_AllTestWnd_Closed() {
    char current[CFG_TEXT];
    {
        const std::lock_guard lock(g_current_mutex);
        memcpy(current, g_current_test_domain, sizeof current);
    }
    for (int row = 0; row < g_testitemnum_total; ++row) {
        const TestItem &item = TestItemWinMenu_TOTAL[row];
        if (!item.item_stop || !domain_is_prefix(item, current)) continue;
        item.item_stop();
        return 0;
    }
    return -1;
}

int test_item_parameters(const char *domain, ConfigPara *records, int max) {
    const int row = tki_config_Get_TestItem_Config_Paras(domain);
    return row < 0 ? 0 : tki_config_parse_parameter(TestItemWinMenu_TOTAL[row].parameter, records, max);
}

int parameter_value(const ConfigPara *records, int count, const char *name, const char *def, std::string *text) {
    char value[CFG_TEXT] = {};
    tki_config_get_para_value(records, count, name, value, sizeof value - 1, def);
    if (text) *text = value;
    return atoi(value);
}
