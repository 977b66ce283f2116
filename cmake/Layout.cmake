# Where files are installed below the prefix: in one folder that can be copied anywhere, or in a system's folders.
option(HOISTLINE_SYSTEM_LAYOUT "Install for a system: the program in lib/hoistline, links in bin" OFF)
if(HOISTLINE_SYSTEM_LAYOUT)
  set(PROGRAM_FOLDER lib/hoistline)
  set(UDEV_FOLDER lib/udev/rules.d)
  set(ZSH_FOLDER share/zsh/vendor-completions)
else()
  set(PROGRAM_FOLDER .)
  set(UDEV_FOLDER share/udev)
  set(ZSH_FOLDER share/zsh/site-functions)
endif()
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME hoistline) # the other one is hoistline-gui
