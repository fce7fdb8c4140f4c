#pragma once

#include <QObject>
#include <QString>

#include <cstddef>
#include <span>

// The contract every component library of this system keeps: it exports four C
// functions, the same four a Windows in-process server exports.
//
//   extern "C" int DllGetClassObject(const char* progId, QObject** object);
//   extern "C" int DllCanUnloadNow();
//   extern "C" int DllRegisterServer();
//   extern "C" int DllUnregisterServer();
//
// A library lists its public classes in a table and implements the four
// functions by calling the helpers below.

#define ZOL_COMPONENT_EXPORT extern "C" __attribute__((visibility("default")))

namespace component {

inline constexpr int S_OK = 0;
inline constexpr int S_FALSE = 1;
inline constexpr int CLASS_E_CLASSNOTAVAILABLE = int(0x80040111u);
inline constexpr int SELFREG_E_CLASS = int(0x80040201u);

struct ClassEntry {
    const char* progId;
    QObject* (*create)();
};

// Creates the object named by progId; the caller owns it. Objects created here
// count as alive until destroyed.
int getClassObject(std::span<const ClassEntry> classes, const char* progId, QObject** object);
int canUnloadNow();
int registerServer(std::span<const ClassEntry> classes, const QString& libraryPath);
int unregisterServer(std::span<const ClassEntry> classes, const QString& libraryPath);

// The objects of this module still alive.
int aliveObjects();

} // namespace component
