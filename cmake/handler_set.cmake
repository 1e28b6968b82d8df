# For projects that use the installed package.

# vela_messages(target file.asn1...): compiles message modules into a target, which then finds asn1/<module>.h.
function(vela_messages target)
  foreach(file IN LISTS ARGN)
    vela_asn1_module(${target} ${file})
    get_filename_component(module ${file} NAME_WE)
    set_property(SOURCE ${CMAKE_BINARY_DIR}/gen/asn1/raw/${module}.cpp APPEND PROPERTY COMPILE_OPTIONS -w)
  endforeach()
  target_include_directories(${target} SYSTEM PRIVATE ${CMAKE_BINARY_DIR}/gen)
endfunction()

# vela_handler_set(name SOURCES file... [MESSAGES file.asn1...]): a shared library that velad loads when HandlerSets names
# it, build/<name>.so.
function(vela_handler_set name)
  cmake_parse_arguments(arg "" "" "SOURCES;MESSAGES" ${ARGN})
  add_library(${name} MODULE ${arg_SOURCES})
  vela_messages(${name} ${arg_MESSAGES})
  target_link_libraries(${name} PRIVATE basic_util::basic_util)
  set_target_properties(${name} PROPERTIES PREFIX "" CXX_VISIBILITY_PRESET hidden)
endfunction()
