# tuzutil_add_language_library(NAME [LANGUAGE language] STRINGS file.rc
#                              [DEFAULTS file] [TARGET program] [DESTINATION folder] [OUTPUT_DIRECTORY folder]
#                              [ALLOW_LONG_TEXTS])
#
# Builds a library with the texts of one language from a resource script in UTF-8. TTextMessageStorePM and
# TNLSResourceDll read such libraries. The target NAME_language makes the file language/NAME.dll below the output
# directory. If the language has a code page, for example "German.1252", the file is German/1252/NAME.dll. If no
# language is given, the target NAME makes NAME.dll. tuzutil reads this file if there is no file for the current
# language.
#
# If no output directory is given, it is the folder of the program TARGET. If there is no TARGET either, it is
# CMAKE_RUNTIME_OUTPUT_DIRECTORY or, if that variable is not set, the current binary directory.
#
# If TARGET is given, the library is built whenever that program is built. If DESTINATION is given, the library is
# installed below that folder, which should be the folder in which the program is installed.
#
# The build fails, and names the file and the line, in these cases:
# - Two texts have the same number, or the number of a text is above 65535.
# - A text is longer than 256 characters or, in UTF-8, longer than 256 bytes. tuzutil loads no more than that. If
#   ALLOW_LONG_TEXTS is given, the build accepts such texts.
# - If DEFAULTS is given: a text in STRINGS has a number for which the file DEFAULTS has no text, or it does not fit the
#   values that the default text of its number takes. The file DEFAULTS is a resource script, or the C++ source with the
#   program's own texts. In such a source, each text follows its number, as in {17, "%2$s has %1$d messages"}.
foreach(folder ${CMAKE_CURRENT_LIST_DIR} ${CMAKE_CURRENT_LIST_DIR}/../tools)
    if(EXISTS ${folder}/tuzutil_messages.py)
        set(TUZUTIL_MESSAGE_COMPILER ${folder}/tuzutil_messages.py CACHE INTERNAL "")
    endif()
endforeach()

function(tuzutil_add_language_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "ALLOW_LONG_TEXTS" "LANGUAGE;STRINGS;DEFAULTS;TARGET;DESTINATION;OUTPUT_DIRECTORY" "")
    if(NOT arg_STRINGS OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "tuzutil_add_language_library(NAME [LANGUAGE language] STRINGS file.rc ...)")
    endif()
    if(NOT arg_OUTPUT_DIRECTORY AND arg_TARGET)
        set(arg_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:${arg_TARGET}>)
    endif()
    if(NOT arg_OUTPUT_DIRECTORY)
        set(arg_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    endif()
    if(NOT arg_OUTPUT_DIRECTORY)
        set(arg_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    endif()
    set(folder ${arg_OUTPUT_DIRECTORY})
    set(install_folder ${arg_DESTINATION})
    set(target ${name})
    if(arg_LANGUAGE)
        string(REPLACE "." "/" subfolder ${arg_LANGUAGE})
        string(APPEND folder /${subfolder})
        if(arg_DESTINATION)
            string(APPEND install_folder /${subfolder})
        endif()
        string(APPEND target _${arg_LANGUAGE})
    endif()
    cmake_path(ABSOLUTE_PATH arg_STRINGS BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})

    set(options)
    set(depends ${TUZUTIL_MESSAGE_COMPILER} ${arg_STRINGS})
    if(arg_ALLOW_LONG_TEXTS)
        list(APPEND options --allow-long)
    endif()
    if(arg_DEFAULTS)
        if(NOT TARGET tuzutil::check_formats)
            message(FATAL_ERROR "DEFAULTS needs the program tuzutil_check_formats, of the component Tools")
        endif()
        cmake_path(ABSOLUTE_PATH arg_DEFAULTS BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        list(APPEND options --defaults ${arg_DEFAULTS} --checker $<TARGET_FILE:tuzutil::check_formats>)
        if(CMAKE_CROSSCOMPILING_EMULATOR)
            list(APPEND options --emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
        endif()
        list(APPEND depends ${arg_DEFAULTS} tuzutil::check_formats)
    endif()

    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    set(base ${CMAKE_CURRENT_BINARY_DIR}/${target})
    set(command ${Python3_EXECUTABLE} ${TUZUTIL_MESSAGE_COMPILER} ${options})
    if(WIN32)
        # The resources are compiled by a command of their own, because a function cannot enable the language RC.
        find_program(TUZUTIL_WINDRES NAMES ${CMAKE_RC_COMPILER} windres REQUIRED)
        add_custom_command(OUTPUT ${base}.o
                           COMMAND ${command} --rc ${base}.rc ${arg_STRINGS}
                           COMMAND ${TUZUTIL_WINDRES} -c 65001 ${base}.rc ${base}.o
                           DEPENDS ${depends} COMMENT "Compiling the texts of ${target}" VERBATIM)
        add_library(${target} MODULE ${base}.o)
        set_source_files_properties(${base}.o PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
        # The DLL contains only resources. Therefore it needs no runtime library and no entry point.
        target_link_options(${target} PRIVATE -nostdlib -Wl,-e,0 -s)
    else()
        add_custom_command(OUTPUT ${base}.cpp
                           COMMAND ${command} --cpp ${base}.cpp ${arg_STRINGS}
                           DEPENDS ${depends} COMMENT "Compiling the texts of ${target}" VERBATIM)
        add_library(${target} MODULE ${base}.cpp)
    endif()
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX PREFIX "" SUFFIX ".dll" OUTPUT_NAME ${name}
                          LIBRARY_OUTPUT_DIRECTORY ${folder})
    if(arg_TARGET)
        add_dependencies(${arg_TARGET} ${target})
    endif()
    if(install_folder)
        install(TARGETS ${target} LIBRARY DESTINATION ${install_folder})
    endif()
endfunction()
