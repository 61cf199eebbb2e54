# Builds the plug-in as an integrator does, with the libraries in KEP_LIBRARY_DIR; then with a folder that lacks them,
# which must fail with one line.
function(configure libraries)
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${FOLDER} -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel
      -DCMAKE_TOOLCHAIN_FILE=${SOURCE}/cmake/armhf.toolchain.cmake -DVORNISA_HOST=OFF -DVORNISA_TESTS=OFF
      -DKEP_LIBRARY_DIR=${libraries}
      OUTPUT_VARIABLE text ERROR_VARIABLE text RESULT_VARIABLE result)
  set(text "${text}" PARENT_SCOPE)
  set(result ${result} PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${FOLDER})
configure(${LIBRARIES})
if(result)
  message(FATAL_ERROR "configuring with ${LIBRARIES}: ${text}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${FOLDER} --target PluginVornisaApi
    OUTPUT_VARIABLE text ERROR_VARIABLE text RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "building with ${LIBRARIES}: ${text}")
endif()
if(EXISTS ${FOLDER}/stand-ins)
  message(FATAL_ERROR "stand-ins were built although there are libraries")
endif()
set(LIBRARY ${FOLDER}/lib/libPluginVornisaApi.so)
set(SONAME libPluginVornisaApi.so)
include(${SOURCE}/tests/unit/CheckNeeds.cmake)

file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER}/none)
configure(${FOLDER}/none)
string(REGEX REPLACE "[ \n]+" " " text "${text}")
if(result EQUAL 0 OR NOT text MATCHES "KEP_LIBRARY_DIR: there is no libkepapi.so in ${FOLDER}/none")
  message(FATAL_ERROR "wrong result for a folder without the libraries: ${text}")
endif()
file(REMOVE_RECURSE ${FOLDER})
