# Installs the library's own install rules into a fresh prefix, builds DigestHost.cpp against the
# installed headers and shared object only, runs it on "abc" and checks the digest it prints.
# Variables: BUILD_DIR (the build tree), WORK_DIR (scratch), CXX, SANITIZE (may be empty),
# SOURCE (DigestHost.cpp).
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

# Only the library's rules (its subdirectory's install script), so that no other target of the
# build needs to exist.
execute_process(
  COMMAND "${CMAKE_COMMAND}" "-DCMAKE_INSTALL_PREFIX=${prefix}" -P "${BUILD_DIR}/sdk/cmake_install.cmake"
  RESULT_VARIABLE installed OUTPUT_QUIET)
if(NOT installed EQUAL 0)
  message(FATAL_ERROR "installing the library failed: ${installed}")
endif()

file(GLOB_RECURSE libraries "${prefix}/*/libquilsdk.so")
list(LENGTH libraries found)
if(NOT found EQUAL 1)
  message(FATAL_ERROR "expected one installed libquilsdk.so, found: ${libraries}")
endif()
get_filename_component(libdir "${libraries}" DIRECTORY)

set(flags -std=c++17)
if(SANITIZE)
  list(APPEND flags "-fsanitize=${SANITIZE}")
endif()
execute_process(
  COMMAND "${CXX}" ${flags} "${SOURCE}" "-I${prefix}/include/quilsdk" "-L${libdir}" -lquilsdk
          "-Wl,-rpath,${libdir}" -o "${WORK_DIR}/DigestHost"
  RESULT_VARIABLE built ERROR_VARIABLE buildErrors)
if(NOT built EQUAL 0)
  message(FATAL_ERROR "building the host against the installed library failed:\n${buildErrors}")
endif()

execute_process(
  COMMAND "${WORK_DIR}/DigestHost" abc
  RESULT_VARIABLE ran OUTPUT_VARIABLE digest ERROR_VARIABLE runErrors)
if(NOT ran EQUAL 0)
  message(FATAL_ERROR "the host ended with ${ran}:\n${runErrors}")
endif()
if(NOT digest STREQUAL "900150983cd24fb0d6963f7d28e17f72\n")
  message(FATAL_ERROR "the host printed '${digest}'")
endif()
if(NOT runErrors STREQUAL "")
  message(FATAL_ERROR "the host wrote to standard error:\n${runErrors}")
endif()
