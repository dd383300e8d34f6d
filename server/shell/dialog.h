// The modal dialog. GUI thread.
#pragma once

#include <tp_gui.h>

struct MmiDialog;
MmiDialog *const DIALOG_NONE = reinterpret_cast<MmiDialog *>(-1); // failure value of CreateDialog

// title and message are kept by reference. Null-safe for null and DIALOG_NONE in DoModal and DestroyDialog.
MmiDialog *CreateDialog(const char *title, const char *message, int x, int y, int w, int h, HWND host, HWND owner,
                        int style, const char *const *buttons, int n, int reserved);
int DoModal(MmiDialog *dialog);
void DestroyDialog(MmiDialog *dialog);
// Answers the most recent dialog from program code with button index 3. 1, or 0 when none is open. Any thread.
int CloseButton();
// Whether the dialog has posted its answer (or lost its window) and only waits to be destroyed.
bool dialog_answered(const MmiDialog *dialog);
