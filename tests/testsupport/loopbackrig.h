#pragma once

// What tests that talk to the built programs share: the programs run as a
// script runs them, and a loopback world of their own (settings, the host's
// libraries registered, emulated display systems on 127.0.0.1 listed in
// "Displays.dat", what a display holds read back). Linking `loopbackrig` also defines EMULATOR_PATH,
// QMDVARS_PATH, LUMAREX_PATH and the libraries' paths.

#include "emulatorprocess.h"
#include "testenvironment.h"

#include <QTest>

#include <functional>
#include <vector>

// How a program ended (code -1: not normally, or not within the time) and what it printed.
struct ProgramRun {
    int code = -1;
    QString out, err;
};
// Runs `program` in `folder` (the test's stores reach it through the environment).
ProgramRun runProgram(const QString& program, const QStringList& args, const QString& folder = {},
                      int timeoutMs = 60000);
// A command line split at spaces, for arguments without spaces inside.
inline QStringList words(const QString& line) { return line.split(u' ', Qt::SkipEmptyParts); }

class LoopbackRig final {
public:
    enum Library { Transmission = 1, PluginMaster = 2, BadWordChecker = 4, AllLibraries = 7 };
    // Registers the built `libraries` and makes the test's folder the host's.
    explicit LoopbackRig(int libraries = AllLibraries);
    LoopbackRig(const LoopbackRig&) = delete;
    LoopbackRig& operator=(const LoopbackRig&) = delete;

    // A display system on 127.0.0.1:`port` (0: any free one) with `args` after
    // --headless --tcp; nullptr (the reason printed) when it does not come up.
    EmulatorProcess* start(const QStringList& args = {}, quint16 port = 0);
    // "Displays.dat" in the test's folder.
    bool list(const QList<LoopbackDisplay>& displays) const { return writeDisplayList(env.folder(), displays); }
    QString path(const QString& name) const { return env.path(name); }
    static quint16 freePort();

    TestEnvironment env;

private:
    std::vector<std::unique_ptr<EmulatorProcess>> m_emulators;
};

namespace disptrans {
class IDispTrans;
}
// Opens the unit at `address` on loopback `port` through the registered
// transmission control, lets `use` talk to it and closes it; the control's
// error text when it does not open.
QString withDisplay(quint16 port, const std::function<QString(disptrans::IDispTrans&)>& use, int16_t address = 1);
// Variables as a display holds them, numbered as in the set (1 ... 256 text,
// 257 ... 416 cell): "colour blink inverse [data]", or only the data.
QStringList readVariables(quint16 port, const QList<int>& numbers, bool attributes = true, int16_t address = 1);
