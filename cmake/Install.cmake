# What `cmake --install` puts where: programs, the library with its headers, pkg-config file and CMake package, descriptions.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(headers_folder ${CMAKE_INSTALL_INCLUDEDIR}/harbex)

# The published headers, and what they include in turn. They keep their folders, so that the same include lines work.
set(published
    common/bus_io.h common/config_store.h common/error_code.h common/exec.h common/http.h common/json.h common/openssl.h
    common/platform.h common/process_table.h common/subnet.h common/trace_log.h common/vpn_type.h
    corvane/cloud/edge_login.h corvane/cloud/edge_token.h corvane/cloud/endpoints.h corvane/cloud/org_center.h
    corvane/cloud/precheck.h corvane/cloud/region_list.h corvane/cloud/registration.h corvane/cloud/status.h
    corvane/cloud/subnet_check.h corvane/cloud/supernode_usage.h corvane/cloud/unregistration.h
    corvane/device/agent.h corvane/device/edge_daemon.h corvane/device/gateway.h corvane/device/identity.h
    corvane/device/settings.h corvane/device/supernode.h eventlog/event_log.h eventlog/nc_msg_db.h)
set(headers "")
while(published)
    list(POP_FRONT published header)
    if(NOT header IN_LIST headers)
        list(APPEND headers ${header})
        set(source ${PROJECT_SOURCE_DIR}/src/${header})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
        file(STRINGS ${source} lines REGEX "^#include \"")
        list(TRANSFORM lines REPLACE "^#include \"(.*)\".*$" "\\1")
        list(APPEND published ${lines})
    endif()
endwhile()
foreach(header IN LISTS headers)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES src/${header} DESTINATION ${headers_folder}/${folder} COMPONENT development)
endforeach()
install(FILES platform/include/bsvc.h DESTINATION ${headers_folder} COMPONENT development)

if(HARBEX_SHARED)
    install(TARGETS harbex EXPORT harbex
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${headers_folder})
    install(EXPORT harbex NAMESPACE harbex:: FILE harbex-config.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/harbex COMPONENT development)
    set(version_file ${CMAKE_CURRENT_BINARY_DIR}/harbex-config-version.cmake)
    write_basic_package_version_file(${version_file} COMPATIBILITY SameMajorVersion)
    install(FILES ${version_file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/harbex COMPONENT development)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/harbex.pc.in harbex.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/harbex.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

install(TARGETS harbex_network_service RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT application)
if(TARGET harbexctl)
    install(TARGETS harbexctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT application)
endif()
if(TARGET NetworkService)
    install(TARGETS bsh RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT platform)
    install(TARGETS getcfg setcfg NetworkService notify RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT platform)
endif()
if(TARGET cloud)
    # The whole simulated NAS: its scripts and files, and the programs that it puts into their places inside.
    set(appliance_folder ${CMAKE_INSTALL_DATADIR}/harbex/appliance)
    install(DIRECTORY appliance/rootfs DESTINATION ${appliance_folder} COMPONENT appliance USE_SOURCE_PERMISSIONS)
    install(PROGRAMS appliance/appliance appliance/appliance-service appliance/boot appliance/cloudctl appliance/enter
        appliance/fault appliance/in-place appliance/road appliance/signin
        DESTINATION ${appliance_folder} COMPONENT appliance)
    install(FILES appliance/bus_methods appliance/credentials DESTINATION ${appliance_folder} COMPONENT appliance)
    install(PROGRAMS appliance/console/serve DESTINATION ${appliance_folder}/console COMPONENT appliance)
    install(FILES appliance/console/page.html DESTINATION ${appliance_folder}/console COMPONENT appliance)
    install(TARGETS NetworkService bsh bus_fault cloud console corvane_expressd edge_state_tool getcfg harbex_network_service
        harbexctl notify setcfg vellum_organization_tool
        RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/harbex/appliance/bin COMPONENT appliance)
endif()
file(GLOB descriptions CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/share/harbex/*.json)
install(FILES ${descriptions} DESTINATION ${CMAKE_INSTALL_DATADIR}/harbex COMPONENT application)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT application)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT application FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development USE_SOURCE_PERMISSIONS)
