// SIM and SD cards: a line per slot, live; passes when all slots that must hold a card do. Operator; readers for the PC.
#pragma once

void mmi_testwnd_SIMCardTestEntry();       // GUI thread
void mmi_testwnd_SIMCardTest_Stop_Entry(); // any thread
// Reads which slots must hold a card from the item's parameters. GUI thread.
void Current_simsdcard_testwnd_GetConfigParas();
// PC, any thread: what a slot holds (0 to 3: SIM; SD: name and size) into out, at most maxoutlen bytes without terminator.
// 1, or 0 when no card answers.
int mmi_AutoTest_sim_Read(int slot, char *out, int maxoutlen);
int mmi_AutoTest_SDCard_Read(char *out, int maxoutlen);
