# The host's functions by the library that exports them on Windows, read from the headers that
# declare them, so that what is linked cannot drift from what is declared.
set(max_headers_folder ${CMAKE_CURRENT_LIST_DIR}/../source/host/include)

# max_functions(VARIABLE HEADER...): the names declared in the headers' extern "C" blocks.
function(max_functions variable)
  set(names "")
  foreach(header ${ARGN})
    file(READ ${max_headers_folder}/${header} text)
    string(REGEX MATCH "extern \"C\" {[^}]*}" declarations "${text}")
    string(REGEX MATCHALL "[a-z0-9_]+\\(" calls "${declarations}")
    list(APPEND names ${calls})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${max_headers_folder}/${header})
  endforeach()
  list(TRANSFORM names REPLACE "\\(" "")
  set(${variable} ${names} PARENT_SCOPE)
endfunction()

max_functions(MAX_API_FUNCTIONS ext_obex.h ext_post.h ext_proto.h ext_sysmem.h)
max_functions(MAX_AUDIO_FUNCTIONS ext_buffer.h z_dsp.h)

# max_import_library(NAME FUNCTION...): what a module links in the place of NAME.dll.
function(max_import_library name)
  set(folder ${CMAKE_CURRENT_BINARY_DIR})
  list(JOIN ARGN "\n" names)
  file(CONFIGURE OUTPUT ${folder}/${name}.def CONTENT "LIBRARY \"${name}.dll\"\nEXPORTS\n${names}\n")
  add_custom_command(OUTPUT ${folder}/lib${name}.a
    COMMAND ${CMAKE_DLLTOOL} -m i386:x86-64 -d ${name}.def -l lib${name}.a
    DEPENDS ${folder}/${name}.def
    WORKING_DIRECTORY ${folder})
endfunction()
