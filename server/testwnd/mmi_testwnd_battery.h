// Battery screen: live values of battery and charger, each line judged green or red; the operator passes when all are green.
#pragma once

struct BatteryState;

// What the lines need to count as good. Sources: the item's parameter list and the kernel.
struct BatteryLimits {
    int current_threshold = -300; // mA; a charging current of at least its negative is good. 1 and above: any current is
    int level = 80;               // percent; from here on the current is not judged, because it falls as the battery fills
    bool linear_charger = false;  // such a charger reports no useful current
};
enum BatteryLine { BATTERY_STATE, BATTERY_TYPE, BATTERY_CAPACITY, BATTERY_HEALTH, BATTERY_VOLTAGE, BATTERY_TEMPERATURE,
                   BATTERY_CURRENT, BATTERY_LINES };
bool battery_line_is_good(BatteryLine line, const BatteryState &s, const BatteryLimits &limits); // any thread

void mmi_testwnd_BatteryTestEntry();      // GUI thread
void mmi_testwnd_BatteryTest_Stop_Entry(); // any thread
// Puts the fuel gauge's period back when the program ended while the screen was open. Start-up.
void battery_test_recover();
