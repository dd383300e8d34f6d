// Handlers of the sound paths, the ring tone and the call.
#include "adbd_connection/handlers.h"
#include "testwnd/audio_pc.h"
#include "testwnd/test_entries.h"

namespace {
constexpr int ONE_FREQUENCY_HZ = 1000;
} // namespace

#define ROUTING(handler, entry)                                                                                      \
    VXO_COMMAND(AutoTest_audioloop_##handler, normalised(mmi_AutoTest_Audio_##entry(bufIn, size)))
ROUTING(HeadsetHeadset_Start, Headset_Headset_LoopBackTestEntry)
ROUTING(HeadsetSpeaker_Start, Headset_Speaker_LoopBackTestEntry)
ROUTING(HeadsetReceiver_Start, Headset_Receiver_LoopBackTestEntry)
ROUTING(MicroHeadset_Start, MIC_Headset_LoopBackTestEntry)
ROUTING(AuxiliaryMicroHeadset1_Start, AuxiliaryMIC1_Headset_LoopBackTestEntry)
ROUTING(AuxiliaryMicroHeadset2_Start, AuxiliaryMIC2_Headset_LoopBackTestEntry)
// One test records and plays: the three words tell what the PC looks at.
ROUTING(Watch_Speaker_Start, Watch_TestEntry)
ROUTING(Watch_Mic_Start, Watch_TestEntry)
ROUTING(Watch_Speaker_Mic_Start, Watch_TestEntry)
VXO_COMMAND(AutoTestMicToSpeakerStart, normalised(mmi_AutoTest_Audio_Headset_UpSpeaker_LoopBackTestEntry(bufIn, size)))
VXO_COMMAND(AutoTest_audioloop_Stop, always(mmi_AutoTest_Audio_LoopBackTest_Stop()))

VXO_COMMAND(AutoTest_hifi_Start, normalised(mmi_AutoTest_Audio_HiFi_TestEntry(bufIn, size)))
VXO_COMMAND(AutoTest_hifi_Stop, normalised(mmi_AutoTest_Audio_HiFi_Test_Stop()))

VXO_COMMAND(AutoTest_Call_Test_Start, always(mmi_AutoTest_CallTest_Start()))
VXO_COMMAND(AutoTest_Call_Test_Stop, always(mmi_AutoTest_CallTest_Stop()))

VXO_COMMAND(AutoTest_Ring_Start, normalised(by_number(bufIn, mmi_AutoTest_RingtoneTestEntry)))
VXO_COMMAND(AutoTest_Ring_Stop, normalised(mmi_AutoTest_RingtoneTest_Stop()))
VXO_COMMAND_NOTED(PCBAAutotestRingStart, always(mmi_AutoTest_RingtoneTestEntry(ONE_FREQUENCY_HZ)))
VXO_COMMAND_NOTED(PCBAAutotestRingStop, always(mmi_AutoTest_RingtoneTest_Stop()))

VXO_COMMAND_NOTED(AutotestMic2EarpieceStart, always(mmi_mic2earpiece_start()))
VXO_COMMAND_NOTED(AutotestMic2EarpieceStop, always(mmi_mic2earpiece_stop()))
VXO_COMMAND_NOTED(AutotestAuxMic2EarpieceStart, always(mmi_auxmic2earpiece_start()))
VXO_COMMAND_NOTED(AutotestAuxMic2EarpieceStop, always(mmi_auxmic2earpiece_stop()))
