# Writes the page's files as a C++ source: cmake -DOUTPUT=FILE -DFILES=A;B;... -P embed.cmake
set(pieces "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND pieces "constexpr unsigned char kFile${number}[] = {${bytes}0};\n")
  string(APPEND rows "    {\"${name}\", {reinterpret_cast<const char*>(kFile${number}), sizeof kFile${number} - 1}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT}
  "#include \"runner/serve/page_files.h\"\n\nnamespace zam::runner {\nnamespace {\n\n${pieces}\n}  // namespace\n\n"
  "std::span<const PageFile> page_files() {\n    static const PageFile files[] = {\n${rows}    };\n    return files;\n}\n\n}  // namespace zam::runner\n")
