# Reads the version from the public header, the one place where it stands, into QVVISA_VERSION_FROM_HEADER.
file(STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/src/incl/QVvisa.h lines REGEX "^#define QVVISA_VERSION_(MAJOR|MINOR|PATCH) \\(")
string(REGEX REPLACE "[^0-9;]" "" numbers "${lines}")
list(JOIN numbers . QVVISA_VERSION_FROM_HEADER)
