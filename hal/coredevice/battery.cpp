#include <vxo_vcoredevice.h>
