# The folders of src/ from the bottom up. A file includes headers of its own
# folder and of folders listed before it, never of one listed after it (nor
# of another folder on its own line): so no two folders depend on each other.
# Run as `cmake -DSOURCE_DIR=<src> -P CheckLayers.cmake`; configuring runs it
# too, and CTest runs it as the test `layers`.
set(FERRYDECK_LAYERS fsutil proof media cards settings engine controller "cli gui")

set(rank 0)
foreach(layer IN LISTS FERRYDECK_LAYERS)
  string(REPLACE " " ";" folders "${layer}")
  foreach(folder IN LISTS folders)
    set(rank_of_${folder} ${rank})
  endforeach()
  math(EXPR rank "${rank} + 1")
endforeach()

set(violations "")
file(GLOB_RECURSE sources RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/*.h ${SOURCE_DIR}/*.cpp)
foreach(source IN LISTS sources)
  string(REGEX MATCH "^[^/]+" folder "${source}")
  if(source STREQUAL folder)
    continue()
  endif()
  if(NOT DEFINED rank_of_${folder})
    list(APPEND violations "${source}: the folder ${folder} has no place in the layer list")
    continue()
  endif()
  file(STRINGS ${SOURCE_DIR}/${source} includes REGEX "^#include \"[a-z]+/")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^#include \"([a-z]+)/.*" "\\1" target "${line}")
    if(target STREQUAL folder OR NOT DEFINED rank_of_${target})
      continue()
    endif()
    if(NOT rank_of_${target} LESS rank_of_${folder})
      list(APPEND violations "${source} includes ${target}/, which is not below ${folder}/")
    endif()
  endforeach()
endforeach()

if(violations)
  list(JOIN violations "\n  " text)
  message(FATAL_ERROR "Include edges against the layer order:\n  ${text}")
endif()
