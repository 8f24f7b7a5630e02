# orv_export_list(TARGET FILE...): restricts a shared library's dynamic symbols to the names in FILEs,
# one a line, by a version script or a module definition file made from them.
function(orv_export_list target)
  set(names "")
  foreach(file IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(STRINGS ${file} lines REGEX "^[A-Za-z_]")
    list(APPEND names ${lines})
  endforeach()
  if(WIN32)
    # Tables, which are not called: else their names in a program would lead to jumps.
    list(TRANSFORM names APPEND " DATA" REGEX "_[ct]tab$|^__RegBrngs")
    list(JOIN names "\n" body)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/${target}.def CONTENT "LIBRARY \"${target}.${PROJECT_VERSION_MAJOR}.dll\"\nEXPORTS\n${body}\n")
    target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/${target}.def)
  else()
    list(JOIN names ";\n" body)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/${target}.map
      CONTENT "{ global:\n${body};\nlocal: *; };\n")
    target_link_options(${target} PRIVATE -Wl,--version-script=${PROJECT_BINARY_DIR}/${target}.map)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PROJECT_BINARY_DIR}/${target}.map)
  endif()
endfunction()
