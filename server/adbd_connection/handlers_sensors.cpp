// Handlers of the sensors, and of the parts that answer with events: NFC, fingerprint sensor, force touch.
#include <tki_hardware.h>

#include "adbd_connection/handlers.h"
#include "testwnd/mmi_testwnd_parts.h"
#include "testwnd/mmi_testwnd_sensors.h"

VXO_COMMAND(AutoTest_sensor_Start, normalised(mmi_AutoTest_SensorTestEntry()))
VXO_COMMAND(AutoTest_sensor_Calibrate, normalised(mmi_AutoTest_SensorTest_Calibrate()))
VXO_COMMAND(AutoTest_sensor_Stop, normalised(mmi_AutoTest_SensorTest_Stop(bufOut, maxoutlen)))
#define READ_COMMAND(name, sensor) VXO_COMMAND(name, normalised(mmi_AutoTest_Sensor_Read(sensor, bufOut, maxoutlen)))
READ_COMMAND(AutoTest_Acc_sensor_Start, TKI_SENSOR_ACCELEROMETER)
READ_COMMAND(AutoTest_Mag_sensor_Start, TKI_SENSOR_MAGNETIC)
READ_COMMAND(AutoTest_Gyro_sensor_Start, TKI_SENSOR_GYROSCOPE)
READ_COMMAND(AutoTest_Pressure_sensor_Start, TKI_SENSOR_PRESSURE)
READ_COMMAND(AutoTest_Heartrate_sensor_Start, TKI_SENSOR_HEART_RATE)
READ_COMMAND(AutotestSensorProxiStart, TKI_SENSOR_PROXIMITY)
READ_COMMAND(AutotestSensorLightStart, TKI_SENSOR_LIGHT)
VXO_COMMAND(AutoTest_HeartrateSelfTest_sensor_Start,
            normalised(mmi_AutoTest_HeartRate_SelfTest(bufIn, size, bufOut, maxoutlen)))

VXO_COMMAND(AutoTest_NfcTest_Enable, mmi_AutoTest_NFC_TestEntry())
VXO_COMMAND(AutoTest_NfcTest_Disable, mmi_AutoTest_NFC_Test_Stop())
VXO_COMMAND(AutoTest_Fingerprint_Start, normalised(mmi_AutoTest_Fingerprint_TestEntry()))
VXO_COMMAND(AutoTest_Fingerprint_Stop, normalised(mmi_AutoTest_Fingerprint_Test_Stop()))

VXO_COMMAND(automated_force_touch_test_start, mmi_AutoTest_ForceTouch_TestEntry())
VXO_COMMAND(automated_force_touch_test_stop, mmi_AutoTest_ForceTouch_Test_Stop())
VXO_COMMAND(automated_force_touch_calibration_start, mmi_AutoTest_ForceTouch_CalibrationEntry())
VXO_COMMAND(automated_force_touch_calibration_stop, mmi_AutoTest_ForceTouch_Calibration_Stop())
VXO_COMMAND(automated_force_touch_calibration_read, mmi_AutoTest_ForceTouch_Read(bufOut, maxoutlen))
VXO_COMMAND(automated_force_touch_comprehensive_test_start, mmi_AutoTest_ForceTouch_ComprehensiveEntry())
VXO_COMMAND(automated_force_touch_comprehensive_test_stop, mmi_AutoTest_ForceTouch_Comprehensive_Stop())
