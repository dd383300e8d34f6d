// The page in a browser, for the subcommands that serve it.
#pragma once

#include "cli/cli.h"
#include "console/console.h"

namespace cli {

struct PageArgs {
    uint16_t port = 0;
    bool open = false;
};
void add_page_options(CLI::App &sub, PageArgs &args);
// In the desktop's browser; says so where there is none.
void open_page(const vh::console::Address &address, const std::string &handset);
// Until this process ends.
void serve_page_in_child(vh::console::Address address);

} // namespace cli
