# split_symbols(TARGET): for a release, moves the symbols into TARGET.debug, which debuggers find beside it.
function(split_symbols target)
  if(NOT ZVK_SPLIT_SYMBOLS)
    return()
  endif()
  set(file "$<TARGET_FILE:${target}>")
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
    COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${file}" "${file}.debug"
    COMMAND "${CMAKE_STRIP}" --strip-all --remove-section=.comment "${file}"
    COMMAND "${CMAKE_OBJCOPY}" "--add-gnu-debuglink=${file}.debug" "${file}")
endfunction()
