// The page of velmar view, as it is built into the program.
#ifndef VELMAR_VIEW_EMBEDDED_PAGE_H
#define VELMAR_VIEW_EMBEDDED_PAGE_H

#include <span>

// One HTML file with script and style in it, compressed with gzip.
std::span<const unsigned char> EmbeddedPage();

#endif
