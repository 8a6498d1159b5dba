/* The files of the page, which are part of the program: embed.cmake writes their bytes. */
#ifndef PAGEFILES_H
#define PAGEFILES_H

#include <span>
#include <string_view>

namespace exporter {

struct PageFile {
    std::string_view name; /* "page.js" */
    std::string_view bytes;
};

std::span<const PageFile> pageFiles();

} // namespace exporter

#endif
