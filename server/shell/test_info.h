// The test information screen, and the handset's record that it and the PC's readers share.
#pragma once

struct tki_module_data;

void mmi_TestInfoEntry(); // GUI thread

// The factory library's answer: keeps the record and, when the screen is open, has it filled. Any thread.
void Get_testinfo_callback(tki_module_data *module);

enum TestInfoField {
    TEST_INFO_BARCODE = 0, // board number
    TEST_INFO_IMEI = 1,    // PSN
    TEST_INFO_INTERNAL_SOFTWARE = 2,
    TEST_INFO_EXTERNAL_SOFTWARE = 3,
    TEST_INFO_HARDWARE = 4,
    TEST_INFO_FLASH_TYPE = 5,
};
// Writes at most maxoutlen bytes of the field to out, without a terminator; asks the factory library first
// unless the screen is open. 1 when the field was there within ten seconds, else 0 and out is untouched.
// Blocks; any thread but the GUI thread, one at a time.
int test_info_read_field(int field, char *out, int maxoutlen);
