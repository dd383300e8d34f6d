// Parameter lists "name:value;name:value" and the look-up in them.
#include <cstring>

#include "config/main_config.h"
#include "fuzz.h"

namespace {
std::string list_of(const std::vector<ConfigPara> &records, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text.append(records[static_cast<size_t>(i)].key) .append(":")
            .append(records[static_cast<size_t>(i)].value) .append(";");
    return text;
}

// What was parsed and is written again reads the same, unless a blank key turns into none.
void check_round_trip(const std::vector<ConfigPara> &records, int count) {
    for (int i = 0; i < count; ++i)
        if (!records[static_cast<size_t>(i)].key[0]) return;
    const std::string text = list_of(records, count);
    std::vector<ConfigPara> again(records.size() + 1);
    FUZZ_CHECK(tki_config_parse_parameter(text.c_str(), again.data(), count + 1) == (text.size() < 3 ? 0 : count));
    if (text.size() >= 3) FUZZ_CHECK(list_of(again, count) == text);
}

void check_lookup(const std::vector<ConfigPara> &records, int count, const std::string &key, int room) {
    std::vector<char> out(static_cast<size_t>(room) + 1);
    const int length = tki_config_get_para_value(records.data(), count, key.c_str(), out.data(), room, "default");
    FUZZ_CHECK(length >= 0 && length <= room && out[static_cast<size_t>(room)] == '\0');
    FUZZ_CHECK(strlen(out.data()) == static_cast<size_t>(length));
    std::string_view expected;
    for (int i = count; i-- > 0;)
        if (const ConfigPara &record = records[static_cast<size_t>(i)];
            std::string_view(record.key).starts_with(key)) expected = record.value;
    expected = expected.substr(0, static_cast<size_t>(room));
    if (expected.empty()) expected = std::string_view("default").substr(0, static_cast<size_t>(room) - 1);
    FUZZ_CHECK(std::string_view(out.data()) == expected);
}
} // namespace

FUZZ_TARGET(parameter_list) {
    const int max = in.byte() % 14;
    const int room = 1 + in.byte();
    const std::string key = in.text(16);
    const std::string text(fuzz::up_to_zero(in.rest()));
    std::vector<ConfigPara> records(static_cast<size_t>(max)); // exactly as many as are allowed
    const int count = tki_config_parse_parameter(text.c_str(), records.data(), max);
    FUZZ_CHECK(count >= 0 && count <= max);
    for (const ConfigPara &record : records)
        FUZZ_CHECK(fuzz::terminated(record.key) && fuzz::terminated(record.value));
    check_round_trip(records, count);
    check_lookup(records, count, key, room);
}
