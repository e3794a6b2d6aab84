# libharbex.so: the whole library in one file that exports its published names only. The stand-ins are in it and local to it;
# for the NAS the maker's own libraries stand in its link line. Compiled anew, position independent, so that the static
# libraries stay as they are.

# harbex_parts(OUT TARGET …): the targets and every static library of this project that they need.
function(harbex_parts out)
    set(found "")
    set(open ${ARGN})
    while(open)
        list(POP_FRONT open part)
        if(TARGET ${part} AND NOT part IN_LIST found)
            get_target_property(type ${part} TYPE)
            if(type STREQUAL "STATIC_LIBRARY")
                list(APPEND found ${part})
                get_target_property(links ${part} LINK_LIBRARIES)
                list(APPEND open ${links})
            endif()
        endif()
    endwhile()
    set(${out} ${found} PARENT_SCOPE)
endfunction()

# A linker's version script from the list of published names.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/published_names.txt names REGEX "^[^#]")
set(exports "")
foreach(name IN LISTS names)
    if(name MATCHES "::$")
        string(APPEND exports "        ${name}*;\n")
    else()
        # A function's name is followed by its arguments; a longer name is another name.
        string(APPEND exports "        ${name};\n        ${name}[!_a-zA-Z0-9]*;\n")
    endif()
endforeach()
set(version_script ${CMAKE_CURRENT_BINARY_DIR}/libharbex.map)
file(CONFIGURE OUTPUT ${version_script} @ONLY
    CONTENT "HARBEX_1 {\n    global:\n    extern \"C++\" {\n${exports}    };\n    local: *;\n};\n")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/published_names.txt)

harbex_parts(parts harbex_cloud)
set(sources "")
set(folders "")
foreach(part IN LISTS parts)
    get_target_property(part_sources ${part} SOURCES)
    get_target_property(part_folder ${part} SOURCE_DIR)
    list(APPEND folders $<TARGET_PROPERTY:${part},INCLUDE_DIRECTORIES>)
    foreach(source IN LISTS part_sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${part_folder})
        list(APPEND sources ${source})
    endforeach()
endforeach()
set(seam "")
if(HARBEX_PLATFORM STREQUAL "nas")
    set(seam bsvc nas_config nas_event_log nas_auth)
endif()

add_library(harbex SHARED ${sources})
target_include_directories(harbex PRIVATE ${folders})
target_link_libraries(harbex PRIVATE ${seam}
    PkgConfig::JANSSON PkgConfig::CURL PkgConfig::SSL PkgConfig::CRYPTO Threads::Threads harbex_flags)
target_compile_options(harbex PRIVATE -fno-semantic-interposition)
target_link_options(harbex PRIVATE -Wl,--version-script=${version_script} -Wl,-z,defs -Wl,-z,nodelete)
set_target_properties(harbex PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${version_script} LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
