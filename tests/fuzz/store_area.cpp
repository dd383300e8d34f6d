// Named values on the configuration partition: a device of any content, and that a store touches one record
// only.
#include <algorithm>
#include <cstring>

#include "config/config_store.h"
#include "fuzz.h"

namespace {
constexpr size_t RECORD = sizeof(CfgRecord);
constexpr size_t FIELD = 32;

const fuzz::ScratchFile &device() {
    static const fuzz::ScratchFile file;
    g_cfg_device = file.path();
    return file;
}

// 4096 bytes that are not ours and the area: raw bytes, or records, whole but for one byte.
std::string device_image(fuzz::Bytes &in) {
    std::string image(CFG_AREA, 'x');
    const uint8_t kind = in.byte();
    if (kind & 1) {
        const unsigned records = in.byte() % (CFG_RECORDS + 1);
        for (unsigned i = 0; i < records; ++i) {
            CfgRecord record{};
            memcpy(record.head, "this-is-cfg-head", 16);
            memcpy(record.signature, "cfg-signature-is-here", 21);
            in.text(FIELD).copy(record.name, FIELD);
            in.text(FIELD).copy(record.value, FIELD);
            if (const uint8_t hurt = in.byte(); hurt & 0x80) reinterpret_cast<char *>(&record)[hurt & 0x7F] ^= 1;
            image.append(reinterpret_cast<const char *>(&record), RECORD);
        }
    } else {
        image += in.rest();
    }
    const size_t whole = kind & 2 ? 2 * CFG_AREA - 1 : 2 * CFG_AREA + size_t{kind};
    image.resize(whole, kind & 4 ? '\xff' : '\0');
    return image;
}

// The value, or a mark that no record holds, when there is none.
std::string get(const std::string &name) {
    std::vector<char> out(FIELD, '#');
    const std::vector<char> before = out;
    if (cfg_get(name.c_str(), out.data(), nullptr) == 1) {
        FUZZ_CHECK(fuzz::terminated(out));
        return out.data();
    }
    FUZZ_CHECK(out == before);
    return "#";
}

void check_untouched(const std::string &before, const std::string &after) {
    FUZZ_CHECK(before.size() == after.size() && before.compare(0, CFG_AREA, after, 0, CFG_AREA) == 0);
    size_t changed = 0;
    for (size_t at = CFG_AREA; at < before.size(); at += RECORD)
        changed += before.compare(at, RECORD, after, at, RECORD) != 0;
    FUZZ_CHECK(changed <= 1);
}
} // namespace

FUZZ_TARGET(store_area) {
    const std::string name = in.text(40), value = in.text(40), other = in.text(31);
    const std::string before = device_image(in);
    const fuzz::ScratchFile &file = device();
    file.put(before);
    const std::string beside = get(other), old = get(name);
    const int stored = cfg_set(name.c_str(), value.c_str());
    const std::string after = file.get();
    check_untouched(before, after);
    FUZZ_CHECK(stored == 1 || (stored == -1 && after == before));
    FUZZ_CHECK(get(name) == (stored == 1 ? value : old));
    if (name.substr(0, FIELD - 1) != other) FUZZ_CHECK(get(other) == beside);
    findcfgbyname(name.c_str());
    dump();
}
