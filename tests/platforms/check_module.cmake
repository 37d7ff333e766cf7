# An external as the loader sees it: it must need of the host the very functions that the headers
# declare. A Windows one exports its entry point alone, and knows whom each function comes from.
cmake_minimum_required(VERSION 3.21)
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/MaxFunctions.cmake)

function(expect what got wanted)
  list(SORT got)
  list(SORT wanted)
  if(NOT got STREQUAL wanted)
    message(SEND_ERROR "${MODULE}: ${what}: ${got}\n  expected: ${wanted}")
  endif()
endfunction()

# What the group of the pattern stands for, wherever it matches.
function(matches variable pattern text)
  string(REGEX MATCHALL "${pattern}" found "${text}")
  list(TRANSFORM found REPLACE "${pattern}" "\\1")
  set(${variable} ${found} PARENT_SCOPE)
endfunction()

if(NOT MODULE MATCHES "mxe64$")
  execute_process(COMMAND ${NM} --dynamic --undefined-only ${MODULE}
    OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
  matches(needed " U ([^@\n]+)\n" "${symbols}") # those of the standard libraries have versions
  expect("needed" "${needed}" "${MAX_API_FUNCTIONS};${MAX_AUDIO_FUNCTIONS}")
  return()
endif()

execute_process(COMMAND ${OBJDUMP} -p ${MODULE} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
matches(libraries "DLL Name: ([^\n]+)" "${headers}")
expect("libraries" "${libraries}" "MaxAPI.dll;MaxAudio.dll;KERNEL32.dll;msvcrt.dll")
function(expect_imports library)
  string(REGEX MATCH "DLL Name: ${library}.dll\n[^\n]*\n(\t[0-9a-f][^\n]*\n)*" part "${headers}")
  matches(imports "\t[0-9a-f]+\t *[0-9]+  ([a-z_0-9]+)" "${part}")
  expect("from ${library}.dll" "${imports}" "${ARGN}")
endfunction()
expect_imports(MaxAPI ${MAX_API_FUNCTIONS})
expect_imports(MaxAudio ${MAX_AUDIO_FUNCTIONS})

string(REGEX MATCH "Ordinal/Name Pointer. Table.*" names "${headers}")
string(REGEX REPLACE "\n\n.*" "\n" names "${names}")
matches(exports "\n\t[^\n]* ([A-Za-z_0-9]+)" "${names}")
expect("exports" "${exports}" ext_main)
