# cmake -DBODY=body.html -DOUTPUT=guide.html -P guide.cmake: makes a page of what cmark-gfm made of the operator's guide.
# Headings get the names that links within the guide use, and a list of them goes before the text.
file(READ ${BODY} body)
string(REGEX MATCHALL "<h[23]>[^<]*</h[23]>" headings "${body}")
set(contents "")
foreach(heading IN LISTS headings)
  string(REGEX REPLACE "<(h[23])>([^<]*)</h[23]>" "\\1" level "${heading}")
  string(REGEX REPLACE "<(h[23])>([^<]*)</h[23]>" "\\2" text "${heading}")
  string(TOLOWER "${text}" name)
  string(REGEX REPLACE "[^a-z0-9 -]" "" name "${name}")
  string(REPLACE " " "-" name "${name}")
  string(REPLACE "${heading}" "<${level} id=\"${name}\">${text}</${level}>" body "${body}")
  if(level STREQUAL "h2")
    string(APPEND contents "<li><a href=\"#${name}\">${text}</a></li>\n")
  endif()
endforeach()
# A wide table scrolls by itself, not the page.
string(REPLACE "<table>" "<div class=\"table\"><table>" body "${body}")
string(REPLACE "</table>" "</table></div>" body "${body}")
string(REGEX REPLACE "(</h1>)" "\\1\n<nav aria-label=\"contents\"><ul>\n${contents}</ul></nav>" body "${body}")
file(WRITE ${OUTPUT} "<!doctype html>
<html lang=\"en\">
<head>
<meta charset=\"utf-8\">
<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">
<title>K905: operator's guide</title>
<link rel=\"icon\" href=\"../icon.svg\">
<link rel=\"stylesheet\" href=\"guide.css\">
</head>
<body>
<main>
${body}</main>
</body>
</html>
")
