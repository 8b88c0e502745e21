# The library `all_tables`: a header with the names of all tables of kve::state, for reset_tables.h.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.h)
set(lister ${CMAKE_CURRENT_LIST_DIR}/list_tables.cmake)
set(header ${CMAKE_BINARY_DIR}/tests/all_tables.h)
add_custom_command(OUTPUT ${header}
                   COMMAND ${CMAKE_COMMAND} -DSRC=${PROJECT_SOURCE_DIR}/src -DOUT=${header}
                           -P ${lister}
                   DEPENDS ${headers} ${lister})
add_custom_target(all_tables_header DEPENDS ${header})
add_library(all_tables INTERFACE)
add_dependencies(all_tables all_tables_header)
target_include_directories(all_tables INTERFACE ${CMAKE_CURRENT_LIST_DIR} ${CMAKE_BINARY_DIR}/tests)
