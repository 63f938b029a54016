# Fails the build where a storey of the house sees what lies below its floor or beside it:
#   cmake -D SOURCE=folder -P CheckLayers.cmake
# The questions (Platform's headers, and its text), Shared and Helper are pure C++: of the system
# they may include the standard library's headers only, and of ours what stands on the same storey
# or beneath, but never the answers in Platform/Linux. Nor do they ask by #if which system they are
# on. The tools stand on what supports the answers, and know nothing of the agent or of each other.
cmake_minimum_required(VERSION 3.25)

set(questions "Platform/(Foundation|AppKit|Dispatch|Text)/")
set(support "Platform/(Linux/Support|Text)/")
set(pure "#include <[a-z_]+>$|#pragma once$")
set(free "#include <|#if|#($|[^i])")

# check_storey(HEADERS_OF_OURS OTHER_LINES FOLDER...), with the folders in it
function(check_storey allowed others)
  foreach(folder IN LISTS ARGN)
    file(GLOB_RECURSE files RELATIVE ${SOURCE} ${SOURCE}/${folder}/*.?pp)
    if(NOT files)
      message(SEND_ERROR "There is nothing to check in ${folder}.")
    endif()
    foreach(file IN LISTS files)
      file(STRINGS ${SOURCE}/${file} lines REGEX "^[ \t]*#")
      foreach(line IN LISTS lines)
        string(REGEX REPLACE "^[ \t]*#[ \t]*" "#" line "${line}")
        if(NOT line MATCHES "^(#include \"(${allowed})|${others})" OR line MATCHES "<[A-Z][a-z]+/")
          message(SEND_ERROR "${file} may not contain: ${line}")
        endif()
      endforeach()
    endforeach()
  endforeach()
endfunction()

check_storey("${questions}" "${pure}"
  Platform/Foundation Platform/AppKit Platform/Dispatch Platform/Text)
check_storey("${questions}|Shared/" "${pure}" Shared)
check_storey("${questions}|Shared/|Helper/" "${pure}" Helper)
check_storey("Platform/" "${free}" Platform)
check_storey("Platform/(Foundation|Text|Linux/Support)/" "${free}" Platform/Linux/Support)
file(GLOB tools RELATIVE ${SOURCE} ${SOURCE}/Tools/*/*.cpp)
list(TRANSFORM tools REPLACE "/[^/]+$" "")
list(REMOVE_DUPLICATES tools)
foreach(tool IN LISTS tools)
  check_storey("${support}|Tools/Library/|${tool}/" "${free}" ${tool})
endforeach()
check_storey("(Benchmarks|Helper|Platform|Shared|Tests|Tools)/" "${free}" Benchmarks Tests)
