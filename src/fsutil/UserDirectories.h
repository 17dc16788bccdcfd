#pragma once

#include <string>

namespace ferrydeck {

// Where the user's own files live. Read from the environment at every call.
class UserDirectories {
public:
    UserDirectories() = delete;

    static constexpr const char *kConfigDirVariable = "FERRYDECK_CONFIG_DIR";

    // $HOME, else the password database, else "/".
    static std::string home();
    // FERRYDECK_CONFIG_DIR, else $XDG_CONFIG_HOME/ferrydeck, else ~/.config/ferrydeck.
    static std::string configDirectory();
    // $XDG_STATE_HOME/ferrydeck, else ~/.local/state/ferrydeck: what Ferrydeck
    // must remember on its own (the offload history, logs that could not be
    // saved where they were asked for). Not created here.
    static std::string stateDirectory();
};

} // namespace ferrydeck
