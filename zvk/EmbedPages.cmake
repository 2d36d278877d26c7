# Writes the pages of the reference into a C++ source: cmake -DOUTPUT=... -DPAGES=a;b -P EmbedPages.cmake
set(source "// Written from the pages in docs/reference.\n#include \"zvk/Reference.h\"\n\n")
string(APPEND source "const std::vector<std::string_view> zvk::kReferencePages = {\n")
foreach(page ${PAGES})
  file(READ "${page}" text)
  string(APPEND source "R\"page(${text})page\",\n")
endforeach()
file(WRITE "${OUTPUT}" "${source}};\n")
