# The GB2312 table of the installation root. What a build adds to the root's template, install/, lies in <build>/root.
set(gb2312_file ${CMAKE_BINARY_DIR}/root/conf/gb2312.txt)
add_custom_command(OUTPUT ${gb2312_file}
                   COMMAND sh ${CMAKE_SOURCE_DIR}/cmake/gb2312.sh ${gb2312_file}
                   DEPENDS ${CMAKE_SOURCE_DIR}/cmake/gb2312.sh
                   COMMENT "GB2312 table" VERBATIM)
add_custom_target(gb2312_table ALL DEPENDS ${gb2312_file})
add_dependencies(basic_util gb2312_table)
install(FILES ${gb2312_file} DESTINATION ${CMAKE_INSTALL_DATADIR}/basic_util/root/conf)
