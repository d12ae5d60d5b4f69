# Writes a C++ source that carries files byte for byte: cmake -DOUTPUT=... -DFOLDER=...
# -P embed.cmake
function(embed variable file)
  file(READ "${file}" hex HEX)
  file(SIZE "${file}" size)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
  set(body "${body}extern const unsigned char ${variable}[] = {\n${bytes}};\nextern const std::size_t ${variable}Size = ${size};\n" PARENT_SCOPE)
endfunction()

set(body "")
embed(stylesheet "${FOLDER}/LumenoGallery.XSL")
embed(logo "${FOLDER}/__Lumeno.GIF")
file(WRITE "${OUTPUT}.new" "// Generated from db/resources; do not edit.\n#include \"Resources.h\"\n\nnamespace Lumeno::DB::Resources {\n\n${body}\n} // namespace Lumeno::DB::Resources\n")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.new")
