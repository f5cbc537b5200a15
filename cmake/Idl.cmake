# hotkey_add_rpc_interface(idl): header, server stub and client stub of one interface definition.
# Targets: <name>_header (include it as "rpc/<Name>.h"), hotkey_rpc_server_stub, hotkey_rpc_client_stub. The stubs are
# objects of plain C, to be put into the library of their routines: each needs the other.
# Functions of the client side carry the prefix "Client", so that one program can link both sides.
function(hotkey_add_rpc_interface idl)
    get_filename_component(source ${idl} ABSOLUTE)
    get_filename_component(name ${idl} NAME_WE)
    set(root ${PROJECT_BINARY_DIR}/generated)
    set(folder ${root}/rpc)
    file(MAKE_DIRECTORY ${folder})
    set(header ${folder}/${name}.h)
    set(server ${folder}/${name}Server.c)
    set(client ${folder}/${name}Client.c)

    if(MSVC)
        add_custom_command(OUTPUT ${header} ${server} ${client}
            COMMAND midl /nologo /env x64 /Oicf /robust /protocol all /prefix client Client
                /out ${folder} /h ${name}.h /sstub ${name}Server.c /cstub ${name}Client.c ${source}
            DEPENDS ${source} COMMENT "Generating the stubs of ${name}" VERBATIM)
    else()
        set(widl x86_64-w64-mingw32-widl --win64 -Oicf --prefix-client=Client)
        set(mend ${PROJECT_SOURCE_DIR}/cmake/MendStub.cmake)
        add_custom_command(OUTPUT ${header}
            COMMAND ${widl} -h -H ${header} ${source}
            DEPENDS ${source} COMMENT "Generating ${name}.h" VERBATIM)
        foreach(side server client)
            string(SUBSTRING ${side} 0 1 letter)
            string(TOUPPER ${letter} capital)
            add_custom_command(OUTPUT ${${side}}
                COMMAND ${widl} -${letter} -${capital} ${${side}}.widl -H ${name}.h ${source}
                COMMAND ${CMAKE_COMMAND} -DIN=${${side}}.widl -DOUT=${${side}} -DNAME=${name} -P ${mend}
                DEPENDS ${source} ${mend} BYPRODUCTS ${${side}}.widl
                COMMENT "Generating the ${side} stub of ${name}" VERBATIM)
        endforeach()
    endif()

    # The one target that runs the generator: whoever includes the header depends on it.
    add_custom_target(${name}_generated DEPENDS ${header} ${server} ${client})
    add_library(${name}_header INTERFACE)
    target_include_directories(${name}_header SYSTEM INTERFACE ${root})
    add_dependencies(${name}_header ${name}_generated)

    foreach(side server client)
        add_library(hotkey_rpc_${side}_stub OBJECT ${${side}})
        target_include_directories(hotkey_rpc_${side}_stub PRIVATE ${folder})
        # The run time's declarations of the format strings need the platform macros of the product.
        target_link_libraries(hotkey_rpc_${side}_stub PUBLIC hotkey_options ${name}_header rpcrt4 PRIVATE hotkey_quiet)
        add_dependencies(hotkey_rpc_${side}_stub ${name}_generated)
    endforeach()
endfunction()
