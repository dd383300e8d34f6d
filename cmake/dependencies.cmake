# The libraries that come from the system. Each is named by its purpose.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PIXMAN REQUIRED IMPORTED_TARGET pixman-1)     # fills and compositing
pkg_check_modules(FREETYPE REQUIRED IMPORTED_TARGET freetype2)  # glyphs
pkg_check_modules(PNG REQUIRED IMPORTED_TARGET libpng)          # pictures
pkg_check_modules(ZLIB REQUIRED IMPORTED_TARGET zlib)
pkg_check_modules(QRENCODE REQUIRED IMPORTED_TARGET libqrencode) # QR codes
if(VXO_AUDIO)
  pkg_check_modules(ALSA REQUIRED IMPORTED_TARGET alsa)         # sound of the audio tests
endif()

if(VXO_MQTT)
  pkg_check_modules(MOSQUITTO REQUIRED IMPORTED_TARGET libmosquitto) # upload of aging results
endif()

# liblog: Debian keeps it outside the loader's path, in a folder where a libcutils.so of its own may lie: that folder comes behind
# our own in the programs' search paths, as CMake puts it there by itself.
find_path(ANDROID_LOG_INCLUDE android/log.h PATH_SUFFIXES android REQUIRED)
find_library(ANDROID_LOG_LIBRARY log PATH_SUFFIXES android x86_64-linux-gnu/android aarch64-linux-gnu/android REQUIRED)
add_library(android_log INTERFACE)
target_include_directories(android_log SYSTEM INTERFACE ${ANDROID_LOG_INCLUDE})
target_link_libraries(android_log INTERFACE ${ANDROID_LOG_LIBRARY})
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)

# The supplicant's control interface. Debian's package names no module for pkg-config.
find_path(WPA_CTRL_INCLUDE wpa_ctrl.h REQUIRED)
find_library(WPA_CLIENT_LIBRARY wpa_client REQUIRED)

if(VXO_VIRTUAL)
  pkg_check_modules(FUSE3 REQUIRED IMPORTED_TARGET fuse3)
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
  find_package(Boost 1.74 REQUIRED) # Beast and Asio: the page in a browser; headers only
endif()
if(VXO_TESTS)
  find_package(GTest REQUIRED)
endif()
