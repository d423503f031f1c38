# SPDX-License-Identifier: Apache-2.0
# Writes the files of a page as constants: cmake -DOUTPUT=FILE.cpp -DFILES=LIST -P embed_page.cmake
set(constants "")
set(entries "")
set(number 0)
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  file(READ "${file}" bytes HEX)
  file(SHA256 "${file}" hash)
  string(SUBSTRING "${hash}" 0 32 hash)
  string(LENGTH "${bytes}" digits)
  math(EXPR size "${digits} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND constants "constexpr char kFile${number}[] = {${bytes}0};\n")
  string(APPEND entries "        {\"${name}\", std::string_view(kFile${number}, ${size}), \"${hash}\"},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Made from the files of the page.
#include \"serve/site.h\"

namespace tool {

namespace {

${constants}
}  // namespace

std::vector<PageFile> pageFiles() {
    return {
${entries}    };
}

}  // namespace tool
")
