# Turns a credentials file into a source file of scrambled byte tables. The file has three lines: app_id= (24 characters),
# app_secret= (32) and provider= (3), in any order, and what comments begin with #. As a script:
#   cmake -DHARBEX_CREDENTIALS=FILE -DOUTPUT=FILE.cpp -P Credentials.cmake
# No message ever shows a value.

# harbex_scramble(HEX KEY OUT): "c1 c2 … " (two digits and a blank a byte) to the scrambled bytes of a C table.
function(harbex_scramble hex key out)
    string(REPLACE " " ";" bytes "${hex}")
    set(table "")
    set(index 0)
    foreach(byte IN LISTS bytes)
        if(NOT byte STREQUAL "")
            math(EXPR scrambled "0x${byte} ^ (${index} & 0xFF) ^ ${key}" OUTPUT_FORMAT HEXADECIMAL)
            list(APPEND table ${scrambled})
            math(EXPR index "${index} + 1")
        endif()
    endforeach()
    list(JOIN table ", " table)
    set(${out} "${table}" PARENT_SCOPE)
endfunction()

# harbex_credential(LINES NAME LENGTH OUT): the value of NAME among the lines, checked, in the form harbex_scramble takes.
function(harbex_credential lines name length out)
    string(HEX "${name}=" prefix)
    string(REGEX REPLACE "(..)" "\\1 " prefix "${prefix}")
    set(found ${lines})
    list(FILTER found INCLUDE REGEX "^${prefix}")
    list(LENGTH found count)
    if(NOT count EQUAL 1)
        message(FATAL_ERROR "Credentials: ${name} must be given once, not ${count} times.")
    endif()
    # Cut by length: a pattern would match again where the value begins with its own name.
    string(LENGTH "${prefix}" cut)
    string(SUBSTRING "${found}" ${cut} -1 value)
    string(LENGTH "${value}" size)
    math(EXPR size "${size} / 3")
    if(NOT size EQUAL length)
        message(FATAL_ERROR "Credentials: ${name} must have ${length} characters, not ${size}.")
    endif()
    if(NOT value MATCHES "^((2[1-9a-f]|[3-6].|7[0-9a-e]) )+$")
        message(FATAL_ERROR "Credentials: ${name} may hold letters, digits and signs only.")
    endif()
    set(${out} "${value}" PARENT_SCOPE)
endfunction()

# harbex_credentials(FILE OUTPUT): writes OUTPUT, only when its text changes.
function(harbex_credentials file output)
    if(NOT EXISTS "${file}" OR IS_DIRECTORY "${file}")
        message(FATAL_ERROR "Credentials: there is no file ${file}.")
    endif()
    # Read as hexadecimal digits, so that no sign in it means anything to CMake.
    file(READ "${file}" hex HEX)
    string(REGEX REPLACE "(..)" "\\1 " hex "${hex}")
    string(REPLACE "0d 0a " "0a " hex "${hex}")
    string(REPLACE "0a " ";" lines "${hex}")
    # Empty lines and those of comments.
    list(FILTER lines EXCLUDE REGEX "^((20 |09 )*(23 .*)?)$")
    list(LENGTH lines count)
    if(NOT count EQUAL 3)
        message(FATAL_ERROR "Credentials: ${file} must have the three lines app_id=, app_secret= and provider=.")
    endif()
    set(key 0x3C)
    set(text "// Generated from the credentials of this build.\nnamespace harbex::corvane {\n")
    foreach(row "app_id 24 kAppIdTable" "app_secret 32 kAppSecretTable" "provider 3 kProviderTable")
        separate_arguments(row)
        list(GET row 0 name)
        list(GET row 1 length)
        list(GET row 2 table)
        harbex_credential("${lines}" ${name} ${length} value)
        harbex_scramble("${value}" ${key} bytes)
        string(APPEND text "extern const unsigned char ${table}[${length}];\n"
            "const unsigned char ${table}[${length}] = {${bytes}};\n")
    endforeach()
    string(APPEND text "extern const unsigned char kCredentialsKey;\nconst unsigned char kCredentialsKey = ${key};\n"
        "}  // namespace harbex::corvane\n")
    file(CONFIGURE OUTPUT "${output}" CONTENT "${text}" @ONLY)
    if(NOT CMAKE_SCRIPT_MODE_FILE)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
    endif()
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
    harbex_credentials("${HARBEX_CREDENTIALS}" "${OUTPUT}")
endif()
