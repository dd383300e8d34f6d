// The handset's sound and its headset socket: what the microphones hear, what comes out, what is plugged in.
#include "cli/cli.h"

#include "client/audio.h"

#include <iostream>

namespace cli {

namespace {
constexpr const char *SOCKET = "/sys/class/switch/h2w/state";
constexpr const char *HEADSETS[] = {"none", "headset", "headphones"}; // by the kernel's number

// A verb of `audio` with two words; -n may follow them.
CLI::App *verb(CLI::App *audio, const std::string &name, const std::string &description, std::function<void()> action, int *status) {
    CLI::App *sub = audio->add_subcommand(name, description)->fallthrough();
    sub->callback([status, action = std::move(action)] {
        action();
        *status = 0;
    });
    return sub;
}

void print_heard(const vh::Client &handset, const std::string &output) {
    if (const auto heard = vh::listen(handset, output)) printf("level: %.1f dBFS\nfrequency: %.0f Hz\n", heard->dbfs, heard->hz);
    else printf("level: silence\n");
}

void add_headset(CLI::App &app, int *status) {
    auto what = std::make_shared<std::string>();
    CLI::App *sub = command(app, "headset", "plug a headset in or out; without a word: what is plugged in", status,
                            [what](const vh::Client &handset) {
                                for (int i = 0; i < 3; ++i) {
                                    if (*what == HEADSETS[i]) handset.set_attr(SOCKET, std::to_string(i));
                                    if (what->empty() && handset.attr(SOCKET) == std::to_string(i)) std::cout << HEADSETS[i] << "\n";
                                }
                                return 0;
                            });
    sub->add_option("what", *what, "none, headphones (no microphone), headset")
        ->check(CLI::IsMember({"none", "headphones", "headset"}));
    sub->footer("Example: ./handset headset headphones");
}
} // namespace

void add_audio(CLI::App &app, int *status) {
    struct Args {
        std::string handset = "default", place, file;
    };
    auto args = std::make_shared<Args>();
    CLI::App *audio = app.add_subcommand("audio", "what the microphones hear, and what comes out of the handset");
    audio->require_subcommand(1);
    audio->add_option("-n,--name", args->handset, "which handset")->capture_default_str();
    CLI::App *play = verb(audio, "play", "what a microphone hears from now on, over and over", [args] {
        vh::set_microphone(vh::Client(args->handset), args->place, vh::samples_from(args->file));
    }, status);
    play->add_option("microphone", args->place, vh::microphone_names())->required();
    play->add_option("sound", args->file, "a WAV file (16 bit, 48 kHz), tone:HZ, tone:HZ:DBFS, or silence")->required();
    CLI::App *record = verb(audio, "record", "save what has come out since the last test on an output began", [args] {
        vh::write_wav(args->file, vh::recorded(vh::Client(args->handset), args->place));
    }, status);
    record->add_option("output", args->place, vh::output_names())->required();
    record->add_option("file", args->file, "the WAV file to write")->required();
    CLI::App *hear = verb(audio, "listen", "level and strongest frequency of what comes out now",
                          [args] { print_heard(vh::Client(args->handset), args->place); }, status);
    hear->add_option("output", args->place, vh::output_names())->required();
    audio->footer("A sine of full scale has 0 dBFS. What a microphone hears survives reboots.\n"
                  "Examples:\n  ./handset audio play main tone:1000:-20\n  ./handset audio listen speaker\n"
                  "  ./handset audio record headset out.wav\n  ./handset audio play main silence");
    add_headset(app, status);
}

} // namespace cli
