# Everything comes from Debian packages; scripts/setup installs them.
include(GNUInstallDirs)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(GTest REQUIRED)
find_package(CLI11 REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(TINYXML2 REQUIRED IMPORTED_TARGET tinyxml2)

# The phone's own base libraries, as Debian builds them for the host. They live beside the system's
# libraries in a folder of their own, hence the rpath.
set(ANDROID_INCLUDE_DIR /usr/include/android)
set(ANDROID_LIB_DIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
foreach(name utils log cutils base)
    find_library(ANDROID_${name} ${name} PATHS ${ANDROID_LIB_DIR} NO_DEFAULT_PATH REQUIRED)
endforeach()
set(CMAKE_BUILD_RPATH ${ANDROID_LIB_DIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};${ANDROID_LIB_DIR}")

add_library(android_base INTERFACE)
target_include_directories(android_base SYSTEM INTERFACE ${ANDROID_INCLUDE_DIR})
# Some of the phone's headers use <atomic> and <memory> without including them.
target_compile_options(android_base INTERFACE "SHELL:-include atomic" "SHELL:-include memory")
target_link_libraries(android_base INTERFACE
    ${ANDROID_utils} ${ANDROID_log} ${ANDROID_cutils} ${ANDROID_base} Threads::Threads)
