# cmake -DOUTPUT=FILE -DFILES=FILE;... -P embed.cmake: writes the C++ file that holds the bytes of these
# files, in their order, as pagefiles.h declares them.
set(arrays "")
set(table "")
foreach(file IN LISTS FILES)
    get_filename_component(name ${file} NAME)
    string(MAKE_C_IDENTIFIER ${name} identifier)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "constexpr unsigned char ${identifier}[] = {${bytes}};\n")
    string(APPEND table "    {\"${name}\", {reinterpret_cast<const char*>(${identifier}), sizeof ${identifier}}},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"pagefiles.h\"

namespace exporter {
namespace {

${arrays}
} // namespace

std::span<const PageFile> pageFiles() {
    static const PageFile files[] = {
${table}    };
    return files;
}

} // namespace exporter
")
