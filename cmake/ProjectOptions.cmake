# Warnings and sanitizers of the project's own code; link this to every target.
add_library(kvt_options INTERFACE)
target_compile_options(kvt_options INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(kvt_options INTERFACE -Wthread-safety -Wthread-safety-beta)
else()
    # g++ does not know the lock annotations.
    target_compile_options(kvt_options INTERFACE -Wno-attributes)
endif()
if(KVT_SANITIZE)
    target_compile_options(kvt_options INTERFACE
        -fsanitize=${KVT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(kvt_options INTERFACE -fsanitize=${KVT_SANITIZE})
endif()

# In builds that count what is reached, a process hands over its counts however it ends by itself.
if(CMAKE_CXX_FLAGS_RELWITHDEBINFO MATCHES "--coverage")
    set(KVT_COVERAGE ON)
    add_library(kvt_coverage_at_any_end STATIC ${CMAKE_CURRENT_LIST_DIR}/CoverageAtAnyEnd.cpp)
    target_link_options(kvt_coverage_at_any_end INTERFACE LINKER:--undefined=_exit)  # before the C library's
    target_link_libraries(kvt_options INTERFACE kvt_coverage_at_any_end)
endif()

# For what takes a compiler long and is never hot: tests and command lines. For a debugger: leave it empty.
set(KVT_COLD_OPTIONS -O1 -g1 CACHE STRING "Options of code that is never hot")

# What the programs call their version.
add_library(kvt_version INTERFACE)
target_compile_definitions(kvt_version INTERFACE KVT_VERSION="${PROJECT_VERSION}")

# The environment every test and demo needs under the current sanitizers.
set(KVT_TEST_ENVIRONMENT "")
if(KVT_SANITIZE MATCHES "thread")
    list(APPEND KVT_TEST_ENVIRONMENT
        "TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/cmake/tsan.supp halt_on_error=1")
elseif(KVT_SANITIZE MATCHES "address")
    list(APPEND KVT_TEST_ENVIRONMENT "ASAN_OPTIONS=detect_stack_use_after_return=1")
endif()
