# Everything comes from Debian packages; scripts/setup installs them.
include(GNUInstallDirs)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(CLI11 REQUIRED)
if(BUILD_TESTING)
    find_package(GTest REQUIRED)
    find_package(benchmark REQUIRED)
endif()
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
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};${ANDROID_LIB_DIR}")  # of programs

add_library(android_base INTERFACE)
target_include_directories(android_base SYSTEM INTERFACE ${ANDROID_INCLUDE_DIR})
# Some of the phone's headers use <atomic> and <memory> without including them. A precompiled header has
# to come before anything else, and brings them.
foreach(header atomic memory)
    target_compile_options(android_base INTERFACE
        "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:KVT_PRECOMPILED>>>:SHELL:-include ${header}>")
endforeach()
target_link_libraries(android_base INTERFACE
    ${ANDROID_utils} ${ANDROID_log} ${ANDROID_cutils} ${ANDROID_base} Threads::Threads)

# The Java bridge needs a JDK; everything else builds without one.
find_package(Java 11 COMPONENTS Development)
if(Java_FOUND AND NOT DEFINED JAVA_HOME)
    # jni.h of the same JDK, where several are installed.
    file(REAL_PATH ${Java_JAVAC_EXECUTABLE} javac)
    cmake_path(GET javac PARENT_PATH JAVA_HOME)
    cmake_path(GET JAVA_HOME PARENT_PATH JAVA_HOME)
endif()
find_package(JNI COMPONENTS JVM)
if(Java_FOUND AND JNI_FOUND)
    set(KVT_HAVE_JAVA ON)
else()
    set(KVT_HAVE_JAVA OFF)
    message(WARNING "No JDK found: libkvt_jni.so and its tests are not built. "
        "Install openjdk-17-jdk-headless to have them.")
endif()
