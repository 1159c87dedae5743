# Strict warnings for the project's own targets only; third-party headers come in as SYSTEM.
function(quil_set_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /WX)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      # clang (the fuzz build) reads `"ret" + 3`, an end pointer for a member lookup, as a
      # mistaken append; g++ has no such warning.
      target_compile_options(${target} PRIVATE -Wno-string-plus-int)
    endif()
  endif()
endfunction()
