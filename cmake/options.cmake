# Compiler options shared by every target of ours (third-party code does not get the warnings).
add_library(velmora_options INTERFACE)
target_include_directories(velmora_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(velmora_options INTERFACE -Wall -Wextra -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # gcc 12 warns of its own std::string operator+ when it is inlined.
    target_compile_options(velmora_options INTERFACE -Wno-restrict)
endif()

if(WIN32)
    # Windows XP (0x0501) is the oldest interface that is asked for; NOMINMAX keeps std::min usable.
    target_compile_definitions(velmora_options INTERFACE
        WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0501 NTDDI_VERSION=0x05010000 WINVER=0x0501)
    target_compile_options(velmora_options INTERFACE -ffunction-sections -fdata-sections)
    # A function that writes beyond an array on its stack ends the process (platform/stack_guard.cpp).
    add_library(velmora_stack_guard STATIC ${CMAKE_SOURCE_DIR}/platform/stack_guard.cpp)
    target_compile_options(velmora_options INTERFACE -fstack-protector-strong)
    target_link_libraries(velmora_options INTERFACE velmora_stack_guard)
    # Old processors and old callers align the stack to four bytes only, so our code must not rely on more.
    if(VELMORA_ARCH STREQUAL "x86")
        add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-mstackrealign>)
    endif()
    add_link_options(-static -Wl,--gc-sections)
    # The output must not depend on the time of linking.
    set(velmora_image_options -Wl,--no-insert-timestamp)
    # The image also declares that it has no structured exception handlers, so that the system runs none at
    # a forged address in it. (64-bit images list theirs.)
    if(VELMORA_ARCH STREQUAL "x86")
        list(APPEND velmora_image_options -Wl,--no-seh)
    endif()
elseif(VELMORA_SANITIZE)
    add_compile_options(-fsanitize=${VELMORA_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -g1)
    add_link_options(-fsanitize=${VELMORA_SANITIZE})
endif()
if(VELMORA_FUZZ)
    # Coverage for libFuzzer; the fuzz targets alone link its main().
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# velmora_library(NAME SOURCES... [LINK libs...]): a static library of ours.
function(velmora_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC velmora_options ${arg_LINK})
endfunction()
