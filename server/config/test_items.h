// The test items: three static tables, and the list of those that the configuration enables.
#pragma once

#include <cstdint>

#include "config/main_config.h"

struct TestItem {
    int32_t item_index;
    char name[CFG_TEXT];
    void (*item_entry)();
    void (*item_stop)();
    char config_domain[CFG_TEXT];
    int32_t testinfo_index;
    int32_t item_enable;
    int32_t item_auto;
    int32_t item_mmi;
    int32_t item_pre;
    char parameter[CFG_TEXT];
};
struct TestItemNode {
    TestItem testitem;
    TestItemNode *pNodeNext;
};

// The tables; their rows, which name the tests' functions, stand in testwnd/item_tables.cpp.
constexpr int TESTITEM_TOTAL = 13;
constexpr int AUX_TESTITEM_TOTAL = 5;
constexpr int MONOMER_TESTITEM_TOTAL = 4;
extern TestItem TestItemWinMenu_TOTAL[TESTITEM_TOTAL];
extern int g_testitemnum_total;
extern TestItem AuxLCD_TestItemWinMenu_TOTAL[AUX_TESTITEM_TOTAL];
extern TestItem MonomerPreview_TestItemWinMenu_TOTAL[MONOMER_TESTITEM_TOTAL];

// Head and count of the two lists. Rebuilt on the GUI thread only; a replaced list's nodes live on for
// three more rebuilds.
extern TestItemNode *g_testitem_list;
extern int g_testitem_count;
extern TestItemNode *g_monomer_list;
extern int g_monomer_count;
// config_domain of the test whose window is open; empty when none is. Written by the test window frame through
// set_current_test_domain (null: none), because the command thread asks for it too.
extern char g_current_test_domain[CFG_TEXT];
void set_current_test_domain(const char *domain);

// Read the configuration of every row of a table into it and build the list of the enabled ones; reset 1 forgets the
// list there was. A file that cannot be read ends the reading. GUI thread.
void Get_TestItem_Config(int reset);
void Get_AuxLCD_TestItem_Config(int reset);
void Get_MonomerPreviewTestItem_Config();
// Row of the main table whose domain is a prefix of the name, or -1.
int tki_config_Get_TestItem_Config_Paras(const char *domain);
// Stops the open test (the first row with a stop function whose domain is a prefix of the current one): 0, or -1.
int Check_AllTestWnd_Closed();
// Splits the parameter text of the item named by domain; the number of pairs (0 when there is no such item).
int test_item_parameters(const char *domain, ConfigPara *records, int max);
// The number that a pair gives, def where there is no such pair; text: as it is written.
int parameter_value(const ConfigPara *records, int count, const char *name, const char *def = "0", std::string *text = nullptr);
