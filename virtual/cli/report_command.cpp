// The page about a handset's aging run. It reads the state folder only, so it serves a handset that runs and one that is off.
#include "cli/cli.h"

#include "report/handset_files.h"
#include "report/page.h"

#include <fstream>
#include <iostream>

namespace cli {

namespace {
int write_report(const vh::Client &handset, const std::string &path) {
    if (!handset.exists()) throw vh::ClientError("handset '" + handset.name() + "' does not exist; ./handset list names those that do");
    const report::AgingRun run = report::understand(report::files_of(handset));
    if (run.empty())
        throw vh::ClientError("handset '" + handset.name() + "' has no aging run to report; begin one on its screen: Aging, Start aging, Yes");
    const std::string page = report::page(run, handset.name());
    if (path == "-") {
        std::cout << page;
        return 0;
    }
    std::ofstream file(path, std::ios::binary);
    if (!file || !(file << page) || !file.flush()) throw vh::ClientError("cannot write " + path + "; give a file in a folder that is yours");
    std::cout << path << ": " << report::state_name(run.state) << ", " << run.records.size() << " records, " << run.wanted_resets
              << " planned and " << run.unwanted_resets << " unplanned resets, " << run.trend.size() << " points\n";
    return 0;
}
} // namespace

void add_report(CLI::App &app, int *status) {
    auto path = std::make_shared<std::string>();
    CLI::App *sub = command(app, "report", "write a page about the last aging run: verdict, records, resets and plots", status,
                            [path](const vh::Client &handset) { return write_report(handset, *path); });
    sub->add_option("file", *path, "the HTML file to write; - for standard output")->required();
    sub->footer("The page needs nothing beside it. The handset may run, also its aging run, or be off.\nExample: ./handset report aging.html");
}

} // namespace cli
