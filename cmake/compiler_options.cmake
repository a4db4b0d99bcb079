# Shared warning and sanitizer flags, applied to every Kolvo target through kolvo_options.
add_library(kolvo_options INTERFACE)

target_compile_options(kolvo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Wcast-align -Woverloaded-virtual -Wimplicit-fallthrough)
if(KOLVO_WERROR)
  target_compile_options(kolvo_options INTERFACE -Werror)
endif()

if(KOLVO_SANITIZE)
  target_compile_options(kolvo_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(kolvo_options INTERFACE -fsanitize=address,undefined)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
  set(CMAKE_OBJCXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()
