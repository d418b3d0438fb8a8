# Writes the linker version script of libtemor.so from the public header:
# every function include/te_mor.h declares with TE_MOR_API is exported, and
# nothing else is. A new function needs no list to be edited.
#   cmake -DHEADER=include/te_mor.h -DOUTPUT=temor.map -P export_map.cmake
# A TE_MOR_API whose function name cannot be read stops the build.
file(READ ${HEADER} text)
# The macro's own definitions are not declarations.
string(REGEX REPLACE "#[ \t]*define[ \t]+TE_MOR_API[^\n]*" "" text "${text}")
string(REGEX MATCHALL "TE_MOR_API" uses "${text}")
# From TE_MOR_API to the parameter list: the name is the last word before it.
string(REGEX MATCHALL "TE_MOR_API[^(;{}]*\\(" declarations "${text}")
list(LENGTH uses used)
list(LENGTH declarations declared)
if(NOT used EQUAL declared OR declared EQUAL 0)
  message(FATAL_ERROR "${HEADER}: ${used} uses of TE_MOR_API but ${declared} declarations read; "
                      "declare each function as `TE_MOR_API TYPE NAME(...)`")
endif()
set(names)
foreach(d IN LISTS declarations)
  if(NOT d MATCHES "[^A-Za-z0-9_](TE_[A-Za-z0-9_]*)[ \t\r\n]*\\($")
    string(REGEX REPLACE "[ \t\r\n]+" " " d "${d}")
    message(FATAL_ERROR "${HEADER}: no TE_ function name in the declaration `${d}`")
  endif()
  list(APPEND names ${CMAKE_MATCH_1})
endforeach()
list(SORT names)
set(unique ${names})
list(REMOVE_DUPLICATES unique)
if(NOT unique STREQUAL names)
  message(FATAL_ERROR "${HEADER}: a function is declared twice with TE_MOR_API")
endif()
list(JOIN names ";\n    " body)
file(WRITE ${OUTPUT} "/* Derived from te_mor.h at build time (cmake/export_map.cmake). */
TEMOR_1 {
  global:
    ${body};
  local:
    *;
};
")
