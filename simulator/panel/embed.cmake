# cmake -DFILES=path|file,... -DOUTPUT=page_files.cpp -P embed.cmake: writes the page's files as arrays, each with the
# path that it is served at.
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")
set(type_jsonl "text/plain; charset=utf-8")
set(type_png "image/png")
set(arrays "")
set(table "")
set(count 0)
string(REPLACE "," ";" files "${FILES}")
foreach(entry ${files})
  string(REPLACE "|" ";" entry "${entry}")
  list(GET entry 0 path)
  list(GET entry 1 file)
  get_filename_component(extension ${file} LAST_EXT)
  string(SUBSTRING ${extension} 1 -1 extension)
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND arrays "const unsigned char file${count}[] = {${bytes}};\n")
  string(APPEND table "    {\"${path}\", \"${type_${extension}}\", file${count}, sizeof file${count}},\n")
  math(EXPR count "${count} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"simulator/panel/page_files.h\"

namespace k905 {

namespace {
${arrays}}  // namespace

const PageFile kPageFiles[] = {
${table}};
const std::size_t kPageFileCount = sizeof kPageFiles / sizeof kPageFiles[0];

}  // namespace k905
")
