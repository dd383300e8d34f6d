// The handset's identity and its verdicts, delivered asynchronously by one callback on a thread of the library.
#include <common/callback_thread.h>
#include <cstring>
#include <factory/api.h>
#include <factory/flags.h>
#include <factory/versions.h>

namespace {
hal::CallbackThread g_request;

void copy_text(std::span<char> out, const std::optional<std::string> &text) {
    if (!text) return;
    const size_t length = std::min(text->size(), out.size() - 1);
    memcpy(out.data(), text->data(), length);
}

int collect(tki_testinfo_record &record) {
    const bool flags = factory::flags_read(record.flags);
    const auto texts = factory::product_texts_read();
    if (texts) {
        copy_text(record.software_version, texts->software);
        copy_text(record.hardware_version, texts->hardware);
        copy_text(record.psn, texts->psn);
        copy_text(record.boardnum, texts->board);
        copy_text(record.flash_info, texts->flash);
    }
    return flags && texts ? 0 : -1;
}

} // namespace

TKI_API(int) tki_api_Get_TestInfo(tki_callback cb) noexcept {
    if (!cb) return -1;
    const auto answer = [cb](hal::CallbackThread::Run &run) {
        tki_testinfo_record record{};
        const int result = collect(record);
        run.tell(cb, TKI_MODULE_TESTINFO, result, &record);
    };
    return g_request.start(FACTORY_TAG, "testinfo", answer) ? 0 : -1;
}

TKI_API(int) tki_api_Get_TestInfo_Stop() noexcept {
    g_request.stop();
    return 0;
}
