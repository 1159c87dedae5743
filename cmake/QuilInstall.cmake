# What makes an installed prefix work wherever it lies: run paths relative to each installed
# binary, and pkg-config files whose prefix is derived from their own location.

# From an installed program in bin/ to the libraries, e.g. "../lib".
file(RELATIVE_PATH QUIL_BIN_TO_LIBDIR "/root/${CMAKE_INSTALL_BINDIR}" "/root/${CMAKE_INSTALL_LIBDIR}")
# From the pkg-config folder back to the prefix, e.g. "../.." (more with a multiarch libdir).
file(RELATIVE_PATH QUIL_PCDIR_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
string(REGEX REPLACE "/$" "" QUIL_PCDIR_TO_PREFIX "${QUIL_PCDIR_TO_PREFIX}")

# The installed target finds the SDK's libraries from wherever the prefix was put. kind is
# PROGRAM (installed into bin/) or LIBRARY (installed beside the SDK). Windows finds DLLs
# beside the program, and an absolute libdir needs no help.
function(quil_relocatable_rpath target kind)
  if(WIN32 OR IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    return()
  endif()
  if(kind STREQUAL "PROGRAM")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${QUIL_BIN_TO_LIBDIR}")
  else()
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
endfunction()

# Writes name.pc from cmake/name.pc.in and installs it. The file's prefix is
# "${pcfiledir}/../..", so pkg-config answers for the prefix where the file now lies.
function(quil_install_pkgconfig name)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(QUIL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  else()
    set(QUIL_PC_PREFIX "\${pcfiledir}/${QUIL_PCDIR_TO_PREFIX}")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
                 @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
