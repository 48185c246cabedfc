# Fails when a C++ file of the project is not in the style of .clang-format,
# so that the tree, formatted as a whole once, stays so. Run as
#   cmake -D ROOT=<source dir> -D CLANG_FORMAT=<program> -P cmake/CheckFormat.cmake
cmake_minimum_required(VERSION 3.25)
if(NOT ROOT OR NOT CLANG_FORMAT)
    message(FATAL_ERROR "ROOT and CLANG_FORMAT must be set")
endif()

set(files)
foreach(folder include src tests bench fuzz tools examples)
    file(GLOB_RECURSE found ${ROOT}/${folder}/*.h ${ROOT}/${folder}/*.hpp ${ROOT}/${folder}/*.cpp ${ROOT}/${folder}/*.c)
    list(APPEND files ${found})
endforeach()
execute_process(COMMAND ${CLANG_FORMAT} --style=file --dry-run --Werror ${files}
                WORKING_DIRECTORY ${ROOT} RESULT_VARIABLE result ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "Not in the .clang-format style (run clang-format -i on these files):\n${errors}")
endif()
