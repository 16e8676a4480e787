# Builds and installs the libraries as archives, and programs that are linked to them. Variables: source, work (a folder of
# the test's own), compiler, flags, generator.
include(${CMAKE_CURRENT_LIST_DIR}/Steps.cmake)

string(APPEND work "/of a user")
file(REMOVE_RECURSE ${work}/installed ${work}/elsewhere ${work}/host ${work}/programs)
file(MAKE_DIRECTORY ${work})
run_or_fail("configuring the libraries" log ${CMAKE_COMMAND} -S ${source} -B ${work}/libraries -G ${generator}
            -DBUILD_SHARED_LIBS=OFF -DZN_BUILD_APPLICATIONS=OFF -DZN_BUILD_TESTS=OFF -DZN_BUILD_QT=OFF
            -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= -DCMAKE_CXX_COMPILER=${compiler} "-DCMAKE_CXX_FLAGS=${flags}")
run_or_fail("building the libraries" log ${CMAKE_COMMAND} --build ${work}/libraries --parallel 2)
run_or_fail("installing the libraries" log ${CMAKE_COMMAND} --install ${work}/libraries --prefix ${work}/installed)
file(RENAME ${work}/installed ${work}/elsewhere)

run_or_fail("configuring the programs" log ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/Static -B ${work}/host
            -G ${generator} -DCMAKE_PREFIX_PATH=${work}/elsewhere -DCMAKE_CXX_COMPILER=${compiler} "-DCMAKE_CXX_FLAGS=${flags}")
run_or_fail("building the programs" log ${CMAKE_COMMAND} --build ${work}/host)
run_or_fail("installing a program" log ${CMAKE_COMMAND} --install ${work}/host --prefix ${work}/programs)
# They find their resources beside their folder, also where they are found by their name alone.
set(ENV{PATH} "${work}/programs/bin:$ENV{PATH}")
foreach(program static-host static-host-2)
  expect_output("${program}" "it shows You have no messages\n" ${program})
endforeach()
