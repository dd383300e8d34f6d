// These tests need no test items; the configuration room asks for the tables.
#include "config/test_items.h"

int g_testitemnum_total = 0;
TestItem TestItemWinMenu_TOTAL[TESTITEM_TOTAL] = {};
TestItem AuxLCD_TestItemWinMenu_TOTAL[AUX_TESTITEM_TOTAL] = {};
TestItem MonomerPreview_TestItemWinMenu_TOTAL[MONOMER_TESTITEM_TOTAL] = {};
