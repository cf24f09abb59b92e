# tuzutil_add_language_library(NAME [LANGUAGE language] STRINGS file.rc
#                              [DEFAULTS file] [TARGET program] [DESTINATION folder] [OUTPUT_DIRECTORY folder]
#                              [ALLOW_LONG_TEXTS])
#
# Builds the texts of one language, for TTextMessageStorePM and TNLSResourceDll, from a resource script in UTF-8: the
# target NAME_language, and below the folder (where programs are built, unless it is given) the file language/NAME.dll.
# A language with a code page, as "German.1252", has a folder for it: German/1252/NAME.dll. Without a language, the
# target NAME makes NAME.dll, which is found where there is none for the current one.
#
# If TARGET is given, the texts are built whenever that program is built, and put beside it. If DESTINATION is given, they
# are installed below that folder, which should be the folder in which the program is installed.
#
# The build fails, with file and line, where a number is given twice or above 65535; where a text is longer than the 256
# characters, or bytes in UTF-8, that are loaded, unless ALLOW_LONG_TEXTS is given; and where a text does not fit the
# values that the text of the same number in DEFAULTS takes, a script or the C++ source of the program's own texts: each
# stands behind its number, as in {17, "%2$s has %1$d messages"}.
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
        # Not by way of the language RC, which a function cannot enable.
        find_program(TUZUTIL_WINDRES NAMES ${CMAKE_RC_COMPILER} windres REQUIRED)
        add_custom_command(OUTPUT ${base}.o
                           COMMAND ${command} --rc ${base}.rc ${arg_STRINGS}
                           COMMAND ${TUZUTIL_WINDRES} -c 65001 ${base}.rc ${base}.o
                           DEPENDS ${depends} COMMENT "Compiling the texts of ${target}" VERBATIM)
        add_library(${target} MODULE ${base}.o)
        set_source_files_properties(${base}.o PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
        # Nothing but resources: no runtime, no entry point.
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
