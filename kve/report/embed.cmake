# Writes the source OUT with the files of FILES (NAME=PATH;...) as bytes.
set(source "#include \"kve/report/embedded.h\"\n\nnamespace kve::companion::embedded {\n")
foreach(entry IN LISTS FILES)
  string(REGEX MATCH "^([^=]+)=(.+)$" parts "${entry}")
  set(name ${CMAKE_MATCH_1})
  file(READ "${CMAKE_MATCH_2}" bytes HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND source "\nstatic constexpr char ${name}_bytes[] = {\n${bytes}};\n"
    "const std::string_view ${name}(${name}_bytes, sizeof ${name}_bytes);\n")
endforeach()
file(WRITE "${OUT}" "${source}\n}  // namespace kve::companion::embedded\n")
