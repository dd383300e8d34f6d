// Where a virtual handset keeps its things on the workstation, and where they appear inside the sandbox.
//
//   STATE = $VXO_HANDSET_HOME/NAME, else $XDG_STATE_HOME/vxo-handset/NAME, else ~/.local/state/vxo-handset/NAME
//
//   STATE/              in the sandbox                               what
//   data/               /data                                        survives reboots
//   cache/              /cache                                       survives reboots
//   sysrw/{upper,work}  upper layer of the overlay on /system        survives reboots
//   etc/                lower layer: /system/etc/{tki_config.ini,tki_language.ini}, made by `run --config/--language`
//   part/vxocfg         /dev/block/bootdevice/by-name/vxocfg         16 KiB, configuration store
//   part/vxoflag        /dev/block/bootdevice/by-name/vxoflag        4 KiB, the first 256 bytes are the flag area
//   part/vxoprod        /dev/block/bootdevice/by-name/vxoprod        4 KiB, text "key=value\n": soft, soft_internal, hard, psn,
//                                                                    board, flash
//   dev/fb0             /dev/graphics/fb0                            panel file (hal/include/tki_lcd.h)
//   dev/event0, event1  /dev/input/event0 (touch), event1 (keys)     FIFOs of struct input_event
//   audio/NAME.s16      /dev/sound/NAME                              mic_main, mic_headset, mic_aux1, mic_aux2: heard over and
//                                                                    over; out_receiver, out_speaker, out_headset,
//                                                                    out_speaker_upper: played since last opened. 16 bit, mono,
//                                                                    48 kHz, little endian
//   camera/NAME.png     (run/camera/video0 ...) /dev/video0 ...      what the cameras back, aux and front see; a picture that is
//                                                                    missing is made anew
//   air/ap              /dev/__vxo_air/ap                            the access point beside it (air/conditions.h)
//   run/socket/         /dev/socket/                                 vxo_gui: the program answers one JSON description per connection
//   run/props/          /dev/__vxo_props/                            one file per system property; persist.* survive a boot
//   run/log/main.log    /dev/__vxo_log/main.log                      the Android log, one line per record (see below)
//   run/instead/        /app/instead                                 libraries here are loaded in place of the build's, e.g. by
//                                                                    `handset radio --absent`
//   run/pc.sock         (served by vinit inside)                     the PC channel: bytes to and from 127.0.0.1:port inside;
//                                                                    seen as /dev/__vxo_pc
//   run/storage/        data, cache and partitions where they take orders (option --storage faults)
//   run/control.sock    -                                            the launcher's control socket (below)
//   run/launcher.pid    -                                            process id of the launcher, locked while it lives
//   image/              lower layer of /system                       made anew at every boot
//   handset.json        -                                            boot options of this handset (size, bootmode, speed ...)
//
// Log line: "MM-DD HH:MM:SS.mmm PID TID P TAG: text" LF; P is one of V D I W E F. Line feeds inside a text become "\n"
// (two characters).
//
// Control socket: a client sends one JSON object and a line feed and gets one JSON object and a line feed back, always with
// "ok" (bool) and, when false, "error" (text). Requests ("op"):
//   status                        -> state ("booting" "running" "off"), sleeps (it is suspended), boots, init_pid, program_pid,
//                                    last ("reboot" "power-off" "crash" ...), size [w,h], port
//   stop | reboot                 ends or restarts the handset
//   boot                          boots one that is off
//                                    "state" is "running" once the first process inside is ready; "last" is also "start", "exit",
//                                    "power-cut" and "boot-loop"; a pid is -1 while there is none
//   attr {path[, value]}          reads or sets a kernel attribute as the kernel would (from the hardware's side) -> value
//   fault {path, fault}           fault: "eio", "stale", "delay=MS", "none"
//   battery {[level] [temp] [charger] [health] [present] [drain]}
//                                 sets what is given: percent, degrees Celsius (the surroundings follow), "ac" "usb" "wireless"
//                                    "none", "good" "overheat" "dead" "over-voltage" "cold" "unspecified-failure" "unknown",
//                                    0 or 1, percent per hour or "default" -> capacity, status, temp, health, present,
//                                    voltage_now, current_now (texts of the attributes), charger, drain
//   fit {[parts, fitted]}         fits the parts or takes them away (kernel/hardware_parts.cpp) -> parts [{name, what, fitted}]; kept
//                                    in handset.json
//   sensor {[name, values]}       what a part feels: values is a list of texts -> sensors [{name, values, unit, fitted}], values
//                                    one text
//   camera                        looks at the pictures in camera/ anew
//   radio {[reset] [technology, [primary] [secondary] [spread]] [orders]}
//                                 what a technology receives (dBm, dBm, dB up or down); orders {operation: how often it fails, or
//                                    "always", or "silent"}, operation as `handset radio --operations` lists them, or "all"; reset
//                                    drops earlier orders -> mode, receivers {technology: {primary, secondary, spread}}, orders
//   adb {[port]}                  from now on the debug bridge listens on 127.0.0.1: on this port, or on a free one if it does not
//                                    yet -> port
//   writes                        -> writes [[path, value] ...]: the last that the program wrote into attributes in this boot, in
//                                    order; total: how many it wrote
//   watch                         -> the line {status, attributes [[path, value, fault, present, settable] ...]}, then a line
//                                    {[status] [attributes] [hardware]} with what has changed whenever something has, until the
//                                    client hangs up; hardware: what sensors feel, or which parts are fitted (ask anew)
//   storage {...}                 orders for the storage of a handset booted with --storage faults; any of these together
//     path, fault                    path: "/data" "/cache" "vxocfg" "vxoflag" "vxoprod". fault: "full" (no room for new names
//                                    and growing files: ENOSPC), "full=BYTES" (so much room is left), "read-only" (EROFS),
//                                    "eio" (reads and changes fail; names and sizes are still told), "none"
//     count: true                    counts changing operations anew; stop: true ends that
//     cut {at, phase, mode}          counts anew, and the power goes at operation `at` (1 ...; 0: now): phase "before", "middle"
//                                    (half of a write is in; anything else is done and not answered) or "after". mode "keep":
//                                    all that came through stays; "lose": what neither fsync nor sync has made durable since
//                                    the count began is taken back. The handset boots again by itself, "last" is "power-cut"
//     list: true                     adds the operations
//                                 -> count, counting, cut (null: none), faults {path: fault}, operations [{kind, path, unsynced}]:
//                                    unsynced: a cut right behind it would lose something
//   exec {argv, stdin?}           runs a command in the handset's namespaces -> status, output (base64 free: text). With three
//                                    descriptors sent along (SCM_RIGHTS) these are its standard ones -> status. It is killed
//                                    when the client hangs up
#pragma once

#include <string>

namespace vh {

struct StatePaths {
    explicit StatePaths(std::string root_dir) : root(std::move(root_dir)) {}
    std::string root;
    std::string data() const { return root + "/data"; }
    std::string cache() const { return root + "/cache"; }
    std::string sysrw() const { return root + "/sysrw"; }
    std::string etc() const { return root + "/etc"; }
    std::string part(const char *name) const { return root + "/part/" + name; }
    std::string panel() const { return root + "/dev/fb0"; }
    std::string sounds() const { return root + "/audio"; }
    std::string sound(const std::string &name) const { return sounds() + "/" + name + ".s16"; }
    std::string cameras() const { return root + "/camera"; }
    std::string camera(const std::string &name) const { return cameras() + "/" + name + ".png"; }
    std::string shown_cameras() const { return root + "/run/camera"; }
    std::string air() const { return root + "/air"; }
    std::string event(int n) const { return root + "/dev/event" + std::to_string(n); }
    std::string run() const { return root + "/run"; }
    std::string gui_socket() const { return root + "/run/socket/vxo_gui"; }
    std::string props() const { return root + "/run/props"; }
    std::string log() const { return root + "/run/log/main.log"; }
    std::string pc_socket() const { return root + "/run/pc.sock"; }
    std::string control_socket() const { return root + "/run/control.sock"; }
    std::string options() const { return root + "/handset.json"; }
};

// Folder that holds all handsets of this user (see above).
std::string handsets_home();
// State paths of one handset. Names: letters, digits, '-', '_', at most 32; anything else throws std::invalid_argument.
StatePaths state_of(const std::string &name);

// Connects to a Unix socket whose path may be longer than sun_path allows. A descriptor, or -1 with errno.
int connect_unix(const std::string &path);
int listen_unix(const std::string &path, int backlog);

} // namespace vh
