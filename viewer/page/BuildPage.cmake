# cmake -DSOURCE= -DWORK= -DOUT= -DNPM= -DMODULES= -P BuildPage.cmake: builds the page of SOURCE into OUT, in a copy, so that
# npm and its tools write nothing beside the sources.
file(REMOVE_RECURSE "${WORK}/src" "${WORK}/static")
file(COPY "${SOURCE}/src" "${SOURCE}/static" "${SOURCE}/build.mjs" "${SOURCE}/package.json" "${SOURCE}/package-lock.json"
    "${SOURCE}/tsconfig.json" DESTINATION "${WORK}")

file(READ "${SOURCE}/package-lock.json" wanted)
set(installed "")
if(IS_DIRECTORY "${MODULES}")
    file(REMOVE_RECURSE "${WORK}/node_modules")
    file(CREATE_LINK "${MODULES}" "${WORK}/node_modules" SYMBOLIC)
    set(installed "${wanted}")
elseif(EXISTS "${WORK}/installed.json" AND NOT IS_SYMLINK "${WORK}/node_modules")
    file(READ "${WORK}/installed.json" installed)
endif()
if(NOT installed STREQUAL wanted)
    file(REMOVE_RECURSE "${WORK}/node_modules")
    execute_process(COMMAND "${NPM}" ci --ignore-scripts --no-audit --no-fund --prefer-offline WORKING_DIRECTORY "${WORK}"
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "npm could not install what the page of ox3d view is built with; it takes that from its registry, or "
            "from its cache. Without a network: configure with -DOX3D_PAGE_NODE_MODULES=FOLDER, the node_modules of an "
            "\"npm ci\" in viewer/page elsewhere, or leave the viewer out with -DOX3D_BUILD_VIEWER=OFF.")
    endif()
    file(WRITE "${WORK}/installed.json" "${wanted}")
endif()

execute_process(COMMAND "${NPM}" run --silent build -- "${OUT}" WORKING_DIRECTORY "${WORK}" RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "the page of ox3d view does not build")
endif()
