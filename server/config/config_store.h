// Named values on the configuration partition: 32 records of 128 bytes, which a factory reset leaves alone.
// cfg_get and cfg_set may be called from any thread; the others share one buffer and belong to one thread at a time.
#pragma once

struct CfgRecord {
    char head[32];      // "this-is-cfg-head" and zeros
    char name[32];
    char signature[32]; // "cfg-signature-is-here", its zero, 10 reserved bytes
    char value[32];
};
static_assert(sizeof(CfgRecord) == 128);
constexpr int CFG_RECORDS = 32;
constexpr int CFG_AREA = 4096;
static_assert(sizeof(CfgRecord) * CFG_RECORDS == CFG_AREA);
extern const char *g_cfg_device; // "/dev/block/bootdevice/by-name/vxocfg"; tests point it elsewhere

// The value into out (32 bytes): 1. -1 when there is none, with the default's characters (at most 31) in out, without a
// terminator.
int cfg_get(const char *name, char *out, const char *def);
// Stores a value; names are cut to 31 characters. 1 (also when the write fails), or -1 with nothing written: the area is
// full or could not be read, or the value has 32 bytes or more.
int cfg_set(const char *name, const char *value);
int setcfgbyname(const char *name, const char *value);
// Reads the area and finds the record in the buffer; null when there is none.
CfgRecord *findcfgbyname(const char *name);
// First free record of the buffer, or null.
CfgRecord *getemptyplace();
// 1 valid, -1 not.
int checkdatavalid(const CfgRecord *record);
// Read and write the area (CFG_AREA bytes) under a record lock. 0, or -1 (open, lock, short transfer).
int restore(char *buffer);
int save(const char *buffer);
// Lists the buffer's records in the log.
void dump();
