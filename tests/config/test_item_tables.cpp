// The item tables of the shell's tests serve here as well: entries that only note that they were called.
#include "../shell/tables.cpp"
