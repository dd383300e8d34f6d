// Start-up of the program, read from top to bottom.
#include "base/guard.h"

int main() {
    if (!guard_allows_start()) return 1;
    return 0;
}
