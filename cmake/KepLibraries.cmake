# vornisa_link_kep_libraries(TARGET OBJECTS): links TARGET to each of KEP_LIBRARIES: to the library of this build where
# there is one, else to the file in KEP_LIBRARY_DIR, else to a stand-in that does nothing.
function(vornisa_link_kep_libraries target objects)
  set(libraries "")
  foreach(name IN LISTS KEP_LIBRARIES)
    if(TARGET ${name})
      list(APPEND libraries ${name})
    elseif(KEP_LIBRARY_DIR)
      find_library(KEP_LIBRARY_${name} ${name} PATHS ${KEP_LIBRARY_DIR} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
      if(NOT KEP_LIBRARY_${name})
        message(FATAL_ERROR "KEP_LIBRARY_DIR: there is no lib${name}.so in ${KEP_LIBRARY_DIR}")
      endif()
      list(APPEND libraries ${KEP_LIBRARY_${name}})
    else()
      vornisa_kep_stand_in(${name} ${objects})
      list(APPEND libraries kep_stand_in_${name})
    endif()
  endforeach()
  # --no-as-needed records every library: on the board the symbols may be divided among them otherwise.
  target_link_libraries(${target} PRIVATE
      -Wl,--push-state,--no-as-needed ${libraries} -Wl,--pop-state)
endfunction()

# The framework symbols that the plug-in may use on a board, with the role of each. The names are those of 32-bit ARM.
set(KEP_BOARD_SYMBOLS ${PROJECT_SOURCE_DIR}/framework/board.symbols)

# A stand-in with the name of a firmware library, for the linker only: it is neither installed nor loaded. On 32-bit
# targets it defines exactly the symbols of KEP_BOARD_SYMBOLS, so that the use of any other symbol fails to link.
function(vornisa_kep_stand_in name objects)
  if(NOT TARGET kep_stand_in_symbols)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/kep_stand_in.c)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      set(symbols -DLIST=${KEP_BOARD_SYMBOLS})
      set(depends ${KEP_BOARD_SYMBOLS})
    else()
      set(symbols -DNM=${CMAKE_NM} "-DOBJECTS=$<JOIN:$<TARGET_OBJECTS:${objects}>,|>")
      set(depends $<TARGET_OBJECTS:${objects}>)
    endif()
    add_custom_command(OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} ${symbols} -DOUTPUT=${source} -P ${PROJECT_SOURCE_DIR}/cmake/WriteStandIn.cmake
        DEPENDS ${depends} ${PROJECT_SOURCE_DIR}/cmake/WriteStandIn.cmake
        VERBATIM)
    add_library(kep_stand_in_symbols OBJECT ${source})
    target_compile_options(kep_stand_in_symbols PRIVATE -fvisibility=default)
  endif()
  add_library(kep_stand_in_${name} SHARED $<TARGET_OBJECTS:kep_stand_in_symbols>)
  set_target_properties(kep_stand_in_${name} PROPERTIES
      LINKER_LANGUAGE C OUTPUT_NAME ${name} LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/stand-ins)
endfunction()
