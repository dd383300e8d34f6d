// Named values on the configuration partition: 32 records of 128 bytes. Used from one thread at a time.
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
extern const char *g_cfg_device; // "/dev/block/bootdevice/by-name/vxocfg"; tests point it elsewhere

int cfg_get(const char *name, char *out, const char *def);
int cfg_set(const char *name, const char *value);
int setcfgbyname(const char *name, const char *value);
CfgRecord *findcfgbyname(const char *name);
CfgRecord *getemptyplace();
int checkdatavalid(const CfgRecord *record);
int restore(char *buffer);
int save(const char *buffer);
void dump();
