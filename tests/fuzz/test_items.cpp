// The configuration of the test items: whatever the file holds, the lists are whole and their texts bounded.
#include <filesystem>
#include <span>
#include <utility>

#include "config/test_items.h"
#include "fuzz.h"

namespace {
constexpr const char *MAIN_FILE = "/etc/tki_config.ini";

const fuzz::ScratchFile &main_file() {
    static const fuzz::ScratchFile file;
    static const bool linked = [] {
        std::filesystem::remove(MAIN_FILE);
        std::filesystem::create_symlink(file.path(), MAIN_FILE);
        return true;
    }();
    return linked ? file : file;
}

void check_list(const TestItemNode *head, int count, std::span<const TestItem> table) {
    int seen = 0;
    size_t row = 0;
    for (const TestItemNode *node = head; node; node = node->pNodeNext) {
        const TestItem &item = node->testitem;
        FUZZ_CHECK(item.item_index == seen++ && item.item_enable != 0);
        FUZZ_CHECK(fuzz::terminated(item.parameter));
        // In table order, each row at most once.
        while (row < table.size() && std::string_view(table[row].name) != item.name) ++row;
        FUZZ_CHECK(row < table.size() && std::string_view(table[row].config_domain) == item.config_domain);
        ++row;
    }
    FUZZ_CHECK(seen == count);
}

void check_parameters(const TestItem &item) {
    std::vector<ConfigPara> records(12);
    const int count = test_item_parameters(item.config_domain, records.data(), 12);
    FUZZ_CHECK(count >= 0 && count <= 12);
    FUZZ_CHECK(count == 0 || item.parameter[0]);
}
} // namespace

FUZZ_TARGET(test_items) {
    const unsigned list = in.byte() % 3;
    main_file().put(in.rest());
    if (list == 0) {
        Get_TestItem_Config(1);
        check_list(g_testitem_list, g_testitem_count, TestItemWinMenu_TOTAL);
        for (const TestItem &item : TestItemWinMenu_TOTAL) check_parameters(item);
    } else if (list == 1) {
        Get_AuxLCD_TestItem_Config(1);
        check_list(g_testitem_list, g_testitem_count, AuxLCD_TestItemWinMenu_TOTAL);
    } else {
        Get_MonomerPreviewTestItem_Config();
        check_list(g_monomer_list, g_monomer_count, MonomerPreview_TestItemWinMenu_TOTAL);
        while (g_monomer_list) delete std::exchange(g_monomer_list, g_monomer_list->pNodeNext);
    }
}
