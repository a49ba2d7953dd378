// Part of every test program: signals do what they do in a shell's foreground. What runs under
// nohup or in the background of a script begins with some of them ignored, and programs under test
// inherit it.

#include <csignal>
#include <initializer_list>

namespace
{

const bool s_done = [] {
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP, SIGTERM, SIGPIPE})
        std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    return sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
}();

}  // namespace
