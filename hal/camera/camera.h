// lib_vxo_camera.so: pictures of one camera, a V4L2 device or a PNG file in its place. The factory library loads it at the
// first camera test, so that a start of the program does not pay for libpng.
#pragma once

#include <cstdint>
#include <tki_hardware.h>

struct VxoCamera; // used by one thread at a time, except where said

extern "C" {
// Null after one log line.
__attribute__((visibility("default"))) VxoCamera *vxo_camera_open(const char *path) noexcept;
// The next picture, at most 25 a second; it lives until the next call. Waits at most wait_ns (scaled).
// 1 a picture, 0 none yet, -1 the camera failed (logged).
__attribute__((visibility("default"))) int vxo_camera_next(VxoCamera *camera, tki_camera_frame *out, int64_t wait_ns) noexcept;
// 0, or -1: the lens is fixed. Any thread.
__attribute__((visibility("default"))) int vxo_camera_autofocus(VxoCamera *camera) noexcept;
__attribute__((visibility("default"))) void vxo_camera_close(VxoCamera *camera) noexcept;
}
using VxoCameraOpen = decltype(&vxo_camera_open);
using VxoCameraNext = decltype(&vxo_camera_next);
using VxoCameraAutofocus = decltype(&vxo_camera_autofocus);
using VxoCameraClose = decltype(&vxo_camera_close);
