# Writes OUTPUT with the words of the text literals below SOURCE, and the names of its files: what a line of a log may
# show to strangers. As a script: cmake -DSOURCE=DIR -DOUTPUT=FILE.cpp -P log_words.cmake
cmake_policy(VERSION 3.25)
file(GLOB_RECURSE files "${SOURCE}/*.cpp" "${SOURCE}/*.h")
set(words "")
foreach(file IN LISTS files)
    cmake_path(GET file FILENAME name)
    list(APPEND words "${name}")
    file(STRINGS "${file}" lines REGEX "\"")
    foreach(line IN LISTS lines)
        if(line MATCHES "^#include")
            continue()
        endif()
        # Text between quotes; escapes are no words, and separators of lists would split a line.
        string(REGEX MATCHALL "\"[^\"]*\"" literals "${line}")
        string(REGEX REPLACE "\\\\[a-z0-9]+" " " literals "${literals}")
        string(REGEX MATCHALL "[A-Za-z][A-Za-z_']+" found "${literals}")
        list(APPEND words ${found})
    endforeach()
endforeach()
list(REMOVE_DUPLICATES words)
list(SORT words)
list(JOIN words "\\n\"\n    \"" text)
file(CONFIGURE OUTPUT "${OUTPUT}" @ONLY CONTENT "// Generated from the text literals of the sources.
#include \"redaction.h\"

namespace harbex::tools {

const char kKnownWords[] =
    \"@text@\\n\";

}  // namespace harbex::tools
")
