# Builds the external with -DMAX_SDK_DIR against a folder of the SDK's shape, made of our own headers
# and what the SDK's have besides.
cmake_minimum_required(VERSION 3.21)
set(sdk ${FOLDER}/max-sdk)
set(support ${sdk}/source/max-sdk-base/c74support)
set(ours ${SOURCE}/source/host/include)
file(COPY ${ours}/ext_buffer.h ${ours}/z_dsp.h DESTINATION ${support}/msp-includes)
file(COPY ${ours}/ext_obex.h ${ours}/ext_post.h ${ours}/ext_proto.h ${ours}/ext_sysmem.h
  DESTINATION ${support}/max-includes)
file(READ ${ours}/ext.h ext)
file(READ ${CMAKE_CURRENT_LIST_DIR}/sdk_extras.h extras)
file(CONFIGURE OUTPUT ${support}/max-includes/ext.h CONTENT "@ext@\n@extras@" @ONLY)

set(options -DCMAKE_BUILD_TYPE=Debug -DMAX_SDK_DIR=${sdk} -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_CXX_FLAGS=-DSDK_STAND_IN_IS_USED)
if(TOOLCHAIN)
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${FOLDER}/build -G ${GENERATOR} ${options}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${FOLDER}/build COMMAND_ERROR_IS_FATAL ANY)

file(GLOB MODULE ${FOLDER}/build/externals/k.vorb~.*)
include(${CMAKE_CURRENT_LIST_DIR}/check_module.cmake)
