// When a sensor has passed, judged from its samples alone: no windows, no library.
//
//   sensor         passes when                                                          low                high
//   light          it was dark and it was bright                                        dark: at most      bright: at least
//   proximity      it was free and something was near                                   far: at most       near: at least
//   accelerometer  it rested at 1 g, and each axis was turned towards the ground        g at rest: +-      turned: at least
//                  and away from it
//   magnetic       the field's strength was in limits while north lay on all four sides strength           strength
//   gyroscope      each axis stood still and was turned                                 still: at most     turned: at least
//   pressure       steadily in limits                                                   hPa                hPa
//   heartrate      steadily in limits                                                   beats per minute   beats per minute
//
// What has been seen once stays seen, until the sensor gives no answer: then it begins anew.
#pragma once

#include <tki_hardware.h>

constexpr int SENSOR_STEPS_MAX = 4;
constexpr int SENSOR_STEADY = 10; // samples in a row

struct SensorLimits {
    double low, high;
};

struct SensorKind {
    const char *name;     // of its pair in the parameter list
    const char *listed;   // how the PC is told that it failed; null: it is not
    const char *title_key;
    int values;           // 1 or 3
    const char *format;   // of one value on the screen
    SensorLimits limits;  // unless the parameter list has others
    int steps;
    const char *step_keys[SENSOR_STEPS_MAX]; // language keys, or the letters of axes; null: the limits themselves
};
extern const SensorKind SENSOR_KINDS[TKI_SENSORS];

// A pair's value: "1", "0" or "1/LOW/HIGH". False, and nothing is changed, when it is malformed.
bool sensor_parse_pair(const char *text, bool *tested, SensorLimits *limits);

// Where the handset points, degrees clockwise from magnetic north, 0 to 360. up: what the accelerometer feels, any length.
// -1 where the field says nothing: it is straight up, or none.
double sensor_heading(const float (&field)[3], const float (&up)[3]);
double sensor_length(const float (&v)[3]);

class SensorRules {
public:
    SensorRules();
    // Forgets what was seen. The limits hold from now on.
    void begin(const SensorLimits (&limits)[TKI_SENSORS]);
    void sample(const tki_sensor_event &event);
    void lost(int sensor);       // it gives no answer
    void library_started();      // nothing is known of any sensor yet

    unsigned samples(int sensor) const { return of_[sensor].samples; }
    bool answers(int sensor) const { return !of_[sensor].lost; }
    const tki_sensor_event &last(int sensor) const { return of_[sensor].last; } // zeros before the first one
    bool step(int sensor, int number) const { return (of_[sensor].done >> number & 1) != 0; }
    bool passed(int sensor) const;
    double heading() const;      // of the last samples

private:
    struct State {
        SensorLimits limits{};
        tki_sensor_event last{};
        unsigned samples = 0;
        bool lost = false;
        unsigned done = 0, still = 0, moved = 0; // bits: steps; axes that were seen so
        int steady = 0;
    };
    void judge(int sensor);
    void judge_axes(State &state, double still, double moved, int first_step);

    State of_[TKI_SENSORS];
};
