#include "client/audio.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>
#include <thread>

namespace vh {

namespace {
namespace fs = std::filesystem;
constexpr const char *MICROPHONES[] = {"main", "headset", "aux1", "aux2"};
constexpr const char *OUTPUTS[] = {"receiver", "speaker", "headset", "speaker_upper"};
constexpr size_t WINDOW = 16384; // of the spectrum
constexpr double FULL_SCALE = 32767;
constexpr uintmax_t KEPT = 64 << 20; // the handset keeps no more

template <size_t N> std::string list(const char *const (&names)[N]) {
    std::string all;
    for (const char *name : names) all += (all.empty() ? "" : ", ") + std::string(name);
    return all;
}

template <size_t N>
std::string file_of(const Client &handset, const std::string &prefix, const std::string &name, const char *const (&names)[N]) {
    if (std::find(names, names + N, name) == names + N)
        throw ClientError("no " + std::string(prefix == "mic_" ? "microphone" : "output") + " '" + name + "'; one of: " + list(names));
    if (!handset.exists()) throw ClientError("no handset '" + handset.name() + "'; boot one: ./handset boot -n " + handset.name());
    fs::create_directories(handset.paths().sounds());
    return handset.paths().sound(prefix + name);
}

std::string bytes_of(const std::string &file, uintmax_t from = 0) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw ClientError("cannot read " + file);
    in.seekg(static_cast<std::streamoff>(from));
    return {std::istreambuf_iterator<char>(in), {}};
}

uint32_t number_at(const std::string &bytes, size_t at, size_t size) {
    uint32_t value = 0;
    for (size_t i = 0; i < size; ++i) value |= uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
    return value;
}

Samples samples_of(const std::string &bytes, size_t begin, size_t end, size_t channels) {
    Samples samples;
    for (size_t at = begin; at + 2 * channels <= end; at += 2 * channels)
        samples.push_back(static_cast<int16_t>(number_at(bytes, at, 2)));
    return samples;
}

Samples read_wav(const std::string &file) {
    const std::string wav = bytes_of(file);
    const ClientError refusal(file + " is no WAV file of 16 bit and 48 kHz, mono or stereo; convert it: sox IN -r 48000 -b 16 OUT.wav");
    if (wav.size() < 12 || !wav.starts_with("RIFF") || wav.compare(8, 4, "WAVE") != 0) throw refusal;
    size_t channels = 0;
    for (size_t at = 12; at + 8 <= wav.size();) {
        const size_t begin = at + 8, size = std::min<size_t>(number_at(wav, at + 4, 4), wav.size() - begin);
        if (wav.compare(at, 4, "fmt ") == 0 && size >= 16) {
            channels = number_at(wav, begin + 2, 2);
            if (number_at(wav, begin, 2) != 1 || channels < 1 || channels > 2 || number_at(wav, begin + 4, 4) != SAMPLE_RATE ||
                number_at(wav, begin + 14, 2) != 16)
                throw refusal;
        }
        if (wav.compare(at, 4, "data") == 0 && channels) return samples_of(wav, begin, begin + size, channels);
        at = begin + size + size % 2;
    }
    throw refusal;
}

// One second, so that a whole number of Hz follows itself without a seam.
Samples tone(const std::string &text) {
    int hz = 0, end = 0;
    double dbfs = -6;
    const bool with_level = sscanf(text.c_str(), "tone:%d:%lf%n", &hz, &dbfs, &end) == 2;
    if (!with_level && sscanf(text.c_str(), "tone:%d%n", &hz, &end) != 1) end = -1;
    if (end != static_cast<int>(text.size()) || hz < 20 || hz > 20000 || !(dbfs >= -90 && dbfs <= 0))
        throw ClientError("'" + text + "' is not tone:HZ or tone:HZ:DBFS, e.g. tone:1000:-20 (20 to 20000 Hz, -90 to 0 dBFS)");
    Samples samples(SAMPLE_RATE);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(std::lround(FULL_SCALE * std::pow(10, dbfs / 20) *
                                                      std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / SAMPLE_RATE)));
    return samples;
}

void transform(std::vector<std::complex<double>> &a) {
    const size_t n = a.size();
    for (size_t i = 1, j = 0; i < n; ++i) {
        size_t bit = n / 2;
        for (; j & bit; bit /= 2) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(a[i], a[j]);
    }
    for (size_t length = 2; length <= n; length *= 2) {
        const auto step = std::polar(1.0, -2 * std::numbers::pi / static_cast<double>(length));
        for (size_t begin = 0; begin < n; begin += length) {
            std::complex<double> w = 1;
            for (size_t k = begin; k < begin + length / 2; ++k, w *= step) {
                const auto even = a[k], odd = a[k + length / 2] * w;
                a[k] = even + odd;
                a[k + length / 2] = even - odd;
            }
        }
    }
}

double strongest(const Samples &samples) {
    std::vector<std::complex<double>> spectrum(WINDOW);
    for (size_t i = 0; i < WINDOW; ++i)
        spectrum[i] = samples[samples.size() - WINDOW + i] * (1 - std::cos(2 * std::numbers::pi * static_cast<double>(i) / WINDOW));
    transform(spectrum);
    size_t peak = 1;
    for (size_t k = 1; k + 1 < WINDOW / 2; ++k)
        if (std::norm(spectrum[k]) > std::norm(spectrum[peak])) peak = k;
    // The top of the parabola through the logarithms around the peak.
    const auto log_of = [&](size_t k) { return std::log(std::norm(spectrum[k]) + 1e-9); };
    const double left = log_of(peak - 1), top = log_of(peak), right = log_of(peak + 1), curve = left - 2 * top + right;
    const double shift = curve < 0 ? (left - right) / 2 / curve : 0;
    return (static_cast<double>(peak) + shift) * SAMPLE_RATE / WINDOW;
}
} // namespace

std::string microphone_names() { return list(MICROPHONES); }
std::string output_names() { return list(OUTPUTS); }

void set_microphone(const Client &handset, const std::string &microphone, const Samples &samples) {
    const std::string file = file_of(handset, "mic_", microphone, MICROPHONES), fresh = file + ".new";
    std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(samples.data()), static_cast<std::streamsize>(samples.size() * 2));
    if (!out.flush()) throw ClientError("cannot write " + fresh);
    fs::rename(fresh, file);
}

Samples samples_from(const std::string &source) {
    if (source == "silence") return {};
    if (source.starts_with("tone:")) return tone(source);
    return read_wav(source);
}

Samples recorded(const Client &handset, const std::string &output) {
    const std::string file = file_of(handset, "out_", output, OUTPUTS);
    std::error_code error;
    const uintmax_t size = fs::file_size(file, error);
    if (error || size == 0) throw ClientError("nothing has come out of '" + output + "' yet");
    const std::string bytes = bytes_of(file, size > KEPT ? (size - KEPT) & ~uintmax_t{1} : 0);
    return samples_of(bytes, 0, bytes.size(), 1);
}

void write_wav(const std::string &file, const Samples &samples) {
    std::string wav;
    const auto number = [&](uint32_t value, size_t size) {
        for (size_t i = 0; i < size; ++i) wav += static_cast<char>(value >> (8 * i));
    };
    const auto length = static_cast<uint32_t>(samples.size() * 2);
    wav += "RIFF", number(36 + length, 4), wav += "WAVEfmt ", number(16, 4), number(1, 2), number(1, 2);
    number(SAMPLE_RATE, 4), number(SAMPLE_RATE * 2, 4), number(2, 2), number(16, 2), wav += "data", number(length, 4);
    wav.append(reinterpret_cast<const char *>(samples.data()), length);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(wav.data(), static_cast<std::streamsize>(wav.size()));
    if (!out.flush()) throw ClientError("cannot write " + file);
}

std::optional<Heard> measure(const Samples &samples) {
    double power = 0;
    for (const int16_t sample : samples) power += (sample / FULL_SCALE) * (sample / FULL_SCALE);
    if (power == 0 || samples.size() < WINDOW) return std::nullopt;
    return Heard{10 * std::log10(2 * power / static_cast<double>(samples.size())), strongest(samples)};
}

std::optional<Heard> listen(const Client &handset, const std::string &output) {
    using Clock = std::chrono::steady_clock;
    constexpr auto GIVEN_UP = std::chrono::milliseconds(500), SHORT = std::chrono::milliseconds(10);
    const std::string file = file_of(handset, "out_", output, OUTPUTS);
    std::error_code error;
    const auto size = [&] { return fs::exists(file, error) ? fs::file_size(file, error) / 2 : 0; };
    uintmax_t begin = size(), last = begin;
    for (auto moved = Clock::now(); last < begin + SAMPLE_RATE / 2;) {
        std::this_thread::sleep_for(SHORT);
        const uintmax_t now = size();
        if (now < last) begin = 0; // a new test began
        if (now != last) moved = Clock::now();
        else if (Clock::now() - moved > GIVEN_UP) return std::nullopt;
        last = now;
    }
    const std::string bytes = bytes_of(file, (last - SAMPLE_RATE / 2) * 2);
    return measure(samples_of(bytes, 0, bytes.size(), 1));
}

} // namespace vh
