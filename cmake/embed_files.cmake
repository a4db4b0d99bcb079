# Writes a C++ header that holds the exact bytes of some files, so the program carries them
# without reading anything at run time. Run as a script:
#
#   cmake -DOUTPUT=header.hpp -DNAMESPACE=ns -DFILES="kName=path;kOther=path" -P embed_files.cmake
#
# Each file becomes `inline constexpr char kName[]`, its bytes followed by one zero byte that is
# not part of the file (so that an empty file still makes an array), and `kNameSize`, the
# file's own length. The header is rewritten only when its text changes, so what includes it
# is not rebuilt for nothing.
cmake_minimum_required(VERSION 3.25)

if(NOT OUTPUT OR NOT NAMESPACE OR NOT FILES)
  message(FATAL_ERROR "embed_files.cmake needs OUTPUT, NAMESPACE and FILES.")
endif()

set(text "#pragma once\n\n// Made by cmake/embed_files.cmake from the files named below; edit those, not this.\n\n")
string(APPEND text "#include <cstddef>\n\nnamespace ${NAMESPACE} {\n")
foreach(entry IN LISTS FILES)
  string(FIND "${entry}" "=" split)
  if(split LESS 1)
    message(FATAL_ERROR "embed_files.cmake: '${entry}' is not NAME=PATH.")
  endif()
  string(SUBSTRING "${entry}" 0 ${split} name)
  math(EXPR path_start "${split} + 1")
  string(SUBSTRING "${entry}" ${path_start} -1 path)
  file(SIZE "${path}" size)
  file(READ "${path}" hex HEX)
  # Each byte as a character literal; sixteen to a line.
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1', " bytes "${hex}")
  string(REGEX REPLACE "(('\\\\x[0-9a-f][0-9a-f]', ){16})" "\\1\n    " bytes "${bytes}")
  cmake_path(GET path FILENAME file_name)
  string(APPEND text "\n// ${file_name}: ${size} bytes.\n")
  string(APPEND text "inline constexpr std::size_t ${name}Size = ${size};\n")
  string(APPEND text "inline constexpr char ${name}[] = {\n    ${bytes}'\\0'};\n")
endforeach()
string(APPEND text "\n}  // namespace ${NAMESPACE}\n")

set(old "")
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
endif()
if(NOT old STREQUAL text)
  file(WRITE "${OUTPUT}" "${text}")
endif()
