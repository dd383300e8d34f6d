// The language table: loading one language's texts and finding them.
#include "config/main_config.h"
#include "fuzz.h"

namespace {
void check_key(const std::string &text, const std::string &key, bool loaded) {
    std::vector<char> out(CFG_TEXT, '#');
    out[3] = '\0'; // an older, shorter text
    const std::vector<char> before = out;
    const int result = Read_LangCfgFromList(key.c_str(), out.data());
    FUZZ_CHECK(result == 0 || out == before);
    if (result == 0) FUZZ_CHECK(loaded || text.find('[') != std::string::npos);
    FUZZ_CHECK(fuzz::terminated(out));
    const LangText shown = lang_text(key.c_str());
    FUZZ_CHECK(fuzz::terminated(shown.text));
    if (result != 0) FUZZ_CHECK(key.starts_with(shown.text) && (key.empty() || shown.text[0]));
    if (result == 0)
        FUZZ_CHECK(text.find(key) != std::string::npos && text.find(shown.text) != std::string::npos);
    if (result == 0) FUZZ_CHECK(std::string_view(out.data()) == shown.text);
}
} // namespace

FUZZ_TARGET(language_table) {
    static const fuzz::ScratchFile file;
    const unsigned fillers = in.byte() == 0xFF ? 2100 : 0; // more texts than there is room for
    const std::string language = in.text(16), key = in.text(20);
    std::string text(in.rest());
    if (fillers) text += "\n[" + language + "]\r\n";
    for (unsigned i = 0; i < fillers; ++i) text += "k=v\r\n";
    file.put(text);
    const bool loaded = Get_CfgValueList(file.path(), language.c_str()) == 0;
    check_key(text, key, loaded);
    check_key(text, "Result_pass", loaded);
    mmi_initLangCfg();
    for (const char *button : {g_cItemPass, g_cItemFail, g_cItemBack, g_ItemYes})
        FUZZ_CHECK(fuzz::terminated(std::string_view(button, CFG_TEXT)));
}
