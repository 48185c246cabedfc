# What the Windows build under wine does not run, in one place, each entry
# with its reason (no ';' in an entry). Everything else runs there as on Linux.
#
# ECS_WINDOWS_SKIPPED_SOURCES: test sources that are not compiled for Windows
#   at all ("<family>/<file>|<reason>").
# ECS_WINE_SKIPPED_TESTS: test cases that compile but cannot run under wine
#   ("<family>|<regular expression on the case name, without '|'>|<reason>"). ctest lists
#   them as not run, and prints each with its reason when it starts.
set(ECS_WINDOWS_SKIPPED_SOURCES
    "platform/NamedObjectTest.cpp|the named-object layer it tests is the POSIX one (Windows has kernel objects)"
    "platform/Utf8TextTest.cpp|the UTF-8 file-name codec it tests is the POSIX one (Windows names are UTF-16)"
    "platform/CImpSystemTest.cpp|drives children with POSIX signals and descriptors"
    "platform/ClipboardTest.cpp|drives the X11 clipboard with POSIX processes"
    "platform/CImpFileTest.cpp|sets file modes and times with POSIX calls (Win32LayerTest covers the Windows file attributes and times)"
    "ipc/CShareMemoryTest.cpp|reads /dev/shm and kills POSIX helper processes"
    "ipc/CSocketServerTest.cpp|its far side is BSD sockets with Linux's tcp_info counters (ChannelsWin32Test covers Winsock)"
    "ipc/CSocketClientTest.cpp|its far side is BSD sockets with Linux's tcp_info counters (ChannelsWin32Test covers Winsock)"
    "ipc/CDataTransferTest.cpp|its far side is BSD sockets with Linux's tcp_info counters"
)
set(ECS_WINE_SKIPPED_TESTS
    "audio|^PlayerMP3Test\\.|its MP3 files are made by gst-launch-1.0 (a Linux program), and wine's MPEGVideo device does not open without a sound device (MCI error 277)"
    "audio|^AudioPlayerTest\\.CorruptFileInTheMiddleOfThePlaylist$|its MP3 files are made by gst-launch-1.0 (a Linux program), and wine's MPEGVideo device does not open without a sound device (MCI error 277)"
    "text|^CStringConverterFormat\\.MatchesSnprintfOnRandomNumericConversions$|its reference is the C runtime's snprintf, and mingw's departs from C in corners the library keeps (\"%0-22.3A\" pads with zeros, \"% tu\" is signed)"
    "platform|^CImpFolder\\.ListingReportsLinks|makes symbolic links, which mingw's std::filesystem cannot create"
    "system|^CFolder\\.OpenListsVisibleEntries|makes symbolic links, which mingw's std::filesystem cannot create"
    "system|^CFolder\\.DeleteFolderRemovesHiddenEntriesAndLinks|makes symbolic links, which mingw's std::filesystem cannot create"
)
# Cases guarded with #ifndef _WIN32 in their sources, as they do not compile
# there; listed here so that this file stays the whole list.
set(ECS_WINDOWS_POSIX_ONLY_TESTS
    "foundation|CMemManager.ConsoleOutputFollowsTheHostsStreamOrientation|forks a child to read its console"
    "text|CStringCore.ScansStopAtAPageEnd|places text before a guard page with mmap"
    "system|CSystem.ChildrenInheritNoneOfTheLibrarysDescriptors|lists a child's inherited POSIX descriptors"
    "system|CTime.TickCountStartsAtZeroAndStaysWithinTheMonotonicClockOnEveryThread|its per-thread tick cache is the POSIX one (Win32LayerTest checks the Windows tick)"
    "configuration|ConfigTest.SaveKeepsTheLinkAndTheModeAndAFailedSaveTheOldFile|symbolic links, POSIX file modes and a file size limit (setrlimit) in a child"
    "platform|CThread.LowestPriorityRunsAtAHigherNiceValue|nice values (Windows runs CThread.PriorityIsTheSystemsOwnLevel instead)"
)

# Drops the skipped sources from a family's list (called before the family's
# test program is created) and says which and why.
function(ecs_windows_skip_sources family list_var)
    set(sources ${${list_var}})
    foreach(entry IN LISTS ECS_WINDOWS_SKIPPED_SOURCES)
        string(REPLACE "|" ";" fields "${entry}")
        list(GET fields 0 file)
        list(GET fields 1 reason)
        if(file MATCHES "^${family}/" AND file IN_LIST sources)
            list(REMOVE_ITEM sources ${file})
            message(STATUS "Windows build leaves out ${file}: ${reason}")
        endif()
    endforeach()
    set(${list_var} ${sources} PARENT_SCOPE)
endfunction()

foreach(entry IN LISTS ECS_WINDOWS_POSIX_ONLY_TESTS)
    string(REPLACE "|" ";" fields "${entry}")
    list(GET fields 1 name)
    list(GET fields 2 reason)
    message(STATUS "Windows build has no ${name}: ${reason}")
endforeach()

# Writes the file that ctest reads after the discovered cases of every test
# program: it disables the listed cases and prints why.
function(ecs_write_wine_skips)
    set(script "# Generated from tests/WindowsSkips.cmake.\n")
    foreach(entry IN LISTS ECS_WINE_SKIPPED_TESTS)
        string(REPLACE "|" ";" fields "${entry}")
        list(GET fields 0 family)
        list(GET fields 1 pattern)
        list(GET fields 2 reason)
        string(APPEND script
            "foreach(name IN LISTS tests_${family}_TESTS)\n"
            "    if(name MATCHES [==[${pattern}]==])\n"
            "        set_tests_properties(\${name} PROPERTIES DISABLED TRUE)\n"
            "        message(\"wine skips \${name}: \" [==[${reason}]==])\n"
            "    endif()\n"
            "endforeach()\n")
    endforeach()
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/wine_skips.cmake "${script}")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/wine_skips.cmake)
endfunction()
