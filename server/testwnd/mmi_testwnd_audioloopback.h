// Audio loopback: the operator speaks and hears it from the speaker, or from both speakers where the item says so.
#pragma once

void mmi_testwnd_AudioLoopBackTestEntry();
