# cmake -DFOLDER=page -DOUTPUT=page_files.cpp -P embed.cmake: writes the page's files as arrays.
set(files "/|text/html|index.html" "/panel.css|text/css|panel.css" "/panel.js|text/javascript|panel.js"
    "/icon.svg|image/svg+xml|icon.svg")
set(arrays "")
set(table "")
foreach(entry ${files})
  string(REPLACE "|" ";" entry "${entry}")
  list(GET entry 0 path)
  list(GET entry 1 type)
  list(GET entry 2 name)
  file(READ ${FOLDER}/${name} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(MAKE_C_IDENTIFIER ${name} id)
  string(APPEND arrays "const unsigned char ${id}[] = {${bytes}};\n")
  string(APPEND table "    {\"${path}\", \"${type}\", ${id}, sizeof ${id}},\n")
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
