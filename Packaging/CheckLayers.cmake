# Fails the build where a storey of the house sees what lies below its floor:
#   cmake -D SOURCE=folder -P CheckLayers.cmake
# The questions (Platform's headers, and its text), Shared and Helper are pure C++: of the system they may include
# the standard library's headers only, and of ours what stands on the same storey or beneath, but
# never the answers in Platform/Linux. Nor do they ask by #if which system they are on.
cmake_minimum_required(VERSION 3.25)

set(questions "Platform/(Foundation|AppKit|Dispatch|Text)/")

function(check_storey allowed)
  foreach(pattern IN LISTS ARGN)
    file(GLOB files RELATIVE ${SOURCE} ${SOURCE}/${pattern})
    foreach(file IN LISTS files)
      file(STRINGS ${SOURCE}/${file} lines REGEX "^ *#")
      foreach(line IN LISTS lines)
        if(NOT line MATCHES "^#include <[a-z_]+>$" AND
           NOT line MATCHES "^#include \"(${allowed})" AND
           NOT line STREQUAL "#pragma once")
          message(SEND_ERROR "${file} may not contain: ${line}")
        endif()
      endforeach()
    endforeach()
  endforeach()
endfunction()

check_storey("${questions}"
  Platform/Foundation/* Platform/AppKit/* Platform/Dispatch/* Platform/Text/*)
check_storey("${questions}|Shared/" Shared/*.hpp Shared/*.cpp)
check_storey("${questions}|Shared/|Helper/" Helper/*.hpp Helper/*.cpp)
