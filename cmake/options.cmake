# Compiler options, as interface targets that the other files link.

# Everything: warnings, and one rounding per floating-point operation on every processor.
add_library(vorn_options INTERFACE)
target_compile_options(vorn_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wundef -Wcast-qual
    -ffp-contract=off)
option(VORN_WERROR "Treat warnings as errors" OFF)
if(VORN_WERROR)
    target_compile_options(vorn_options INTERFACE -Werror)
endif()
target_include_directories(vorn_options INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR})

# The daemon's own code, beyond that.
add_library(vorn_daemon_options INTERFACE)
target_link_libraries(vorn_daemon_options INTERFACE vorn_options)
target_compile_options(vorn_daemon_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
    # Not for code that uses the standard library's containers, inside which g++ 12 sees null pointers.
    -Wnull-dereference)
# Log lines and records are cut at a fixed length on purpose.
target_compile_options(vorn_daemon_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation>)

# Hardening of the daemon. Fortify needs an optimised build; it and the sanitizers' own checks get in each
# other's way.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# For an executable: what goes into a shared library may be replaced when it is loaded, so that no call of a function
# that others see could be inlined.
target_compile_options(vorn_daemon_options INTERFACE -fPIE)
target_compile_options(vorn_daemon_options INTERFACE -fstack-protector-strong -fstack-clash-protection)
# Indirect jumps land only where one may, returns go only where they came from, where the processor checks it.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    target_compile_options(vorn_daemon_options INTERFACE -mbranch-protection=standard)
else()
    target_compile_options(vorn_daemon_options INTERFACE -fcf-protection)
endif()
if(NOT VORN_SANITIZE)
    target_compile_options(vorn_daemon_options INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
endif()
option(VORN_STATIC "Link every executable statically" OFF)
if(VORN_STATIC)
    add_link_options(-static-pie)
else()
    add_link_options(-pie)
endif()
add_library(vorn_hardened_link INTERFACE)
target_link_options(vorn_hardened_link INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)

# Sanitizers. The integer group also flags unsigned wrap-around: in the daemon every intended
# one goes through util/arith.h, so there a report is a fault.
set(VORN_SANITIZE "" CACHE STRING "Sanitizers for all code, for example address,undefined")
set(VORN_SANITIZE_DAEMON "" CACHE STRING "Further sanitizers for the daemon's own code, for example integer")
set(VORN_IS_SANITIZED 0)
if(VORN_SANITIZE)
    set(VORN_IS_SANITIZED 1)
    target_compile_options(vorn_options INTERFACE
        -fsanitize=${VORN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vorn_options INTERFACE -fsanitize=${VORN_SANITIZE})
endif()
if(VORN_SANITIZE_DAEMON)
    target_compile_options(vorn_daemon_options INTERFACE
        -fsanitize=${VORN_SANITIZE_DAEMON} -fno-sanitize-recover=all)
endif()
