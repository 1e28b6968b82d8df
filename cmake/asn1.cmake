# vela_asn1_module(target file.asn1 [NAMESPACE name]): compiles one message family with esnacc.
# The runtime's namespace stays out of sight: the header that users include, asn1/<module>.h, brings the message
# classes into the global namespace, or into NAMESPACE.
function(vela_asn1_module target file)
  find_program(ESNACC esnacc REQUIRED)
  cmake_parse_arguments(arg "" "NAMESPACE" "" ${ARGN})
  get_filename_component(module ${file} NAME_WE)
  get_filename_component(source ${file} ABSOLUTE)
  set(raw ${CMAKE_BINARY_DIR}/gen/asn1/raw)
  set(header ${CMAKE_BINARY_DIR}/gen/asn1/${module}.h)
  file(MAKE_DIRECTORY ${raw})
  add_custom_command(
    OUTPUT ${raw}/${module}.h ${raw}/${module}.cpp ${header}
    COMMAND ${CMAKE_COMMAND} -DESNACC=${ESNACC} -DSOURCE=${source} -DRAW=${raw} -DHEADER=${header}
            -DMODULE=${module} -DNAMESPACE=${arg_NAMESPACE} -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/asn1_compile.cmake
    DEPENDS ${source} ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/asn1_compile.cmake
    COMMENT "ASN.1 ${module}")
  target_sources(${target} PRIVATE ${raw}/${module}.cpp ${header})
  set_property(TARGET ${target} APPEND PROPERTY VELA_ASN1_HEADERS ${raw}/${module}.h ${header})
endfunction()
