// The main configuration "/etc/tki_config.ini", the language texts and the settings read from them at start-up.
// Unless said otherwise: any thread, results 0 or -1, and every text that is filled holds CFG_TEXT bytes.
#pragma once

#include <atomic>
#include <cstddef>

constexpr int CFG_TEXT = 256; // bytes of a name, path or value with its terminator

extern std::atomic<int> g_batteryWarningVolt;  // percent
extern std::atomic<int> g_powerofftemp;        // tenths of a degree Celsius
extern std::atomic<int> g_bCfgOsIsCanIdle;     // sleeping is allowed on this handset at all
extern std::atomic<int> g_bOsIsCanIdle;        // sleeping is allowed now; the item "OSIdle" sets both
extern std::atomic<int> g_autoSleepTime;       // seconds
extern std::atomic<int> g_autoTurnOffTime;     // seconds
extern char g_cSysBacklight[CFG_TEXT];
extern int g_bTPShape;
extern std::atomic<int> g_bRestoreAutotest;
extern char g_chLogPath[CFG_TEXT];             // ends in "/"
extern char g_chAgingSettingFilePath[CFG_TEXT];
extern char g_chAgingLogPath[CFG_TEXT];
extern char g_cItemPass[CFG_TEXT];
extern char g_cItemFail[CFG_TEXT];
extern char g_cItemBack[CFG_TEXT];
extern char g_ItemYes[CFG_TEXT];

struct ConfigPara { char key[CFG_TEXT]; char value[CFG_TEXT]; };

// The value of the first line whose domain and key are prefixes of those asked for, without its last character (the
// carriage return of the files' line ends). Nothing found: the default's characters, without a terminator, so out is
// zeroed by the caller. 0 when the file was read, -1: a null argument, no such file, a malformed bracket line.
int Get_CfgValue(const char *path, const char *domain, const char *key, char *out, const char *def);
// The same in the main configuration.
int Read_MainCfgFile(const char *domain, const char *key, char *out, const char *def);
// The text of a language key into out, or -1 with out untouched.
int Read_LangCfgFromList(const char *name, char *out);
// Splits "key:value;key:value". Number of records filled.
int tki_config_parse_parameter(const char *text, ConfigPara *records, int max);
// At most n characters of the value of the first record whose key begins with key, without a terminator (out is zeroed
// by the caller); the default, terminated, when there is none. The length of out.
int tki_config_get_para_value(const ConfigPara *records, int count, const char *key, char *out, int n, const char *def);
// First kept character; blanks, tabs and line feeds behind the last kept one are overwritten.
char *mmi_trim(char *text);
int mmi_parse_domain(const char *line, char *out);
void mmi_parse_equal(const char *line, char *key, char *value);
// Reads everything; main thread, once. -1 at the first failed step: later settings keep their initial values.
int mmi_initconfig();
int mmi_initLangCfg();
// Loads the texts of one language from a file into the table; -1 when it cannot be opened.
int Get_CfgValueList(const char *path, const char *language);

// The translation of a key, or the key itself. A fresh 256-byte text on every call, safe on any thread after start-up.
struct LangText {
    char text[CFG_TEXT];
    operator const char *() const { return text; }
};
LangText lang_text(const char *key);
// A setting as a number: Read_MainCfgFile into a zeroed buffer and atoi. *ok tells whether the read succeeded.
int main_config_int(const char *domain, const char *key, const char *def, bool *ok = nullptr);
