// handset lint: reads the two configuration files as the program does, and says what would be misread.
#include "cli/boot.h"
#include "cli/cli.h"

#include <iostream>

#include "lint/lint.h"

namespace cli {

namespace {
constexpr size_t WARNINGS_MAX = 20;

std::string path_of(const std::string &given, const char *own) {
    if (given == "none") return "";
    return given == "default" ? source_folder() + "/virtual/rootfs/" + own : given;
}

int lint(const std::string &config, const std::string &language, bool installed) {
    std::vector<std::string> findings;
    try {
        findings = vh::lint_files(path_of(config, "tki_config.ini"), path_of(language, "tki_language.ini"),
                                  installed);
    } catch (const std::runtime_error &error) {
        std::cerr << "handset lint: " << error.what() << "\n";
        return 2;
    }
    for (const std::string &finding : findings) std::cout << finding << "\n";
    if (findings.empty()) std::cout << "no findings\n";
    return findings.empty() ? 0 : 1;
}
} // namespace

void add_lint(CLI::App &app, int *status) {
    auto config = std::make_shared<std::string>(), language = std::make_shared<std::string>("none");
    auto installed = std::make_shared<bool>(false);
    CLI::App *sub = app.add_subcommand(
        "lint", "check configuration and language files for what the program would misread");
    sub->add_option("config", *config,
                    "main configuration; 'default' is the repository's, 'none' leaves it out")
        ->required();
    sub->add_option("language", *language, "language file, likewise");
    sub->add_flag("--installed", *installed, "the files are as on a handset: GBK, CR LF");
    sub->callback([=] { *status = lint(*config, *language, *installed); });
    sub->footer(
        "Prints FILE:LINE: TEXT per finding. Exit status 0: none, 1: some, 2: a file cannot be read.\n"
        "A file that is UTF-8 with characters of GBK only is judged as `handset boot` installs it, converted "
        "and with\n"
        "CR LF: without a single CR LF its bare LF are no finding, in a mixed file they are. Any other file, and every file with --installed, is judged "
        "byte for\n"
        "byte: a key line that does not end in CR LF loses its value's last character.\n"
        "Example: ./handset lint my.ini default");
}

void warn_about_texts(const std::string &config, const std::string &language) {
    const auto own = [](const std::string &path) { return path == "none" ? std::string() : path; };
    std::vector<std::string> findings;
    try {
        findings = vh::lint_files(own(config), own(language), false);
    } catch (const std::runtime_error &) {
        return; // booting says what it misses
    }
    for (size_t i = 0; i < findings.size() && i < WARNINGS_MAX; ++i)
        std::cerr << "warning: " << findings[i] << "\n";
    if (findings.size() > WARNINGS_MAX)
        std::cerr << "and " << findings.size() - WARNINGS_MAX << " more; see `handset lint`\n";
}

} // namespace cli
