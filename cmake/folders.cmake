# One folder of the library: an object library of its own, which sees its own headers and those of the folders that it
# declares, and nothing else.
#   qvvisa_folder(NAME SOURCES... [EXPOSES <folder> ...] [USES <folder> ...])
# EXPOSES names the folders that its headers include: who uses the folder sees them too. USES names those that only its
# sources include. A folder may be any target, the interface target of a system library too. The target is qvvisa_NAME.
function(qvvisa_folder name)
  cmake_parse_arguments(arg "" "" "EXPOSES;USES" ${ARGN})
  add_library(qvvisa_${name} OBJECT ${arg_UNPARSED_ARGUMENTS})
  # No operation throws, hence neither exceptions nor RTTI.
  target_compile_options(qvvisa_${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
  # The fuzzer sees which of the library's branches an input reaches.
  target_compile_options(qvvisa_${name} PRIVATE $<$<BOOL:${QVVISA_FUZZ}>:-fsanitize=fuzzer-no-link>)
  target_compile_definitions(qvvisa_${name} PRIVATE QVVISA_BUILDING)
  set_target_properties(qvvisa_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden
                                                  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(qvvisa_${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(qvvisa_${name} PUBLIC ${arg_EXPOSES} PRIVATE qvvisa_options ${arg_USES})
  set_property(GLOBAL APPEND PROPERTY QVVISA_FOLDERS qvvisa_${name})
endfunction()

# A folder of headers only.
#   qvvisa_headers(NAME)
function(qvvisa_headers name)
  add_library(qvvisa_${name} INTERFACE)
  target_include_directories(qvvisa_${name} INTERFACE ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# Links the library's objects into a program, but for the units (or the system libraries libusb, libudev) named, which the
# program stands in for.
#   qvvisa_link_objects(TARGET <unit> ...)
function(qvvisa_link_objects target)
  set(objects ${QVVISA_OBJECTS})
  foreach(unit ${ARGN})
    set(objects $<FILTER:${objects},EXCLUDE,/${unit}\\.cpp\\.o$>)
  endforeach()
  target_sources(${target} PRIVATE ${objects})
  if(NOT "libusb" IN_LIST ARGN)
    target_link_libraries(${target} PRIVATE PkgConfig::LIBUSB)
  endif()
  if(NOT "libudev" IN_LIST ARGN)
    target_link_libraries(${target} PRIVATE PkgConfig::LIBUDEV)
  endif()
endfunction()
