#pragma once

// A variable file as the original program writes it on Windows, spelled out
// byte by byte, and the set it holds.

#include "variablefile.h"

#include <QByteArray>
#include <QFile>

#include <initializer_list>
#include <string_view>

namespace fixture {

using namespace std::string_view_literals;
using namespace Qt::StringLiterals;

// One record line: fields joined by 0x01, between double quotes, CR LF.
inline QByteArray line(std::initializer_list<std::string_view> fields)
{
    QByteArray out("\"");
    bool first = true;
    for (std::string_view f : fields) {
        if (!first)
            out += '\x01';
        out += QByteArray(f.data(), qsizetype(f.size()));
        first = false;
    }
    return out + "\"\r\n";
}

inline QByteArray defaultLine(int n)
{
    const QByteArray name = n <= 256 ? "Text Var " + QByteArray::number(n) : "Cell Var " + QByteArray::number(n - 256);
    return line({name.toStdString(), "1", "2", "2", "", "", n <= 256 ? "250" : "58"});
}

inline const QByteArray kHeaderLine = QByteArrayLiteral("\"QMDVariableFileZOL1.1\"\r\n");

// Accented letters, the euro sign, quotes (carried as 0x00) and commas.
inline QByteArray windowsFile()
{
    QByteArray out = kHeaderLine;
    for (int n = 1; n <= 416; ++n) {
        switch (n) {
        case 1: out += line({"Caf\xe9 Menu"sv, "3", "1", "2", "Price \0today\0: 5 \x80, 6 \x80"sv, "", "250"}); break;
        case 2: out += line({"Text Var 2", "7", "2", "1", "\xdc" "n\xef" "c\xf6" "d\xe9 \xc0\xff\x8a\x8c\x99 \x84\x93\x94\x85"sv, "", "40"}); break;
        case 257: out += line({"Cell, with comma", "1", "2", "2", "", "C:\\Data\\vars.xls!Variables!R2C2", "58"}); break;
        case 416: out += line({"Cell Var 160", "1", "2", "2", "\0\0"sv, "", ""}); break;
        default: out += defaultLine(n);
        }
    }
    return out;
}

inline vls::RecordSet defaultSet()
{
    vls::RecordSet set;
    for (int n = 1; n <= 416; ++n) {
        set[n - 1] = {n <= 256 ? QStringLiteral("Text Var %1").arg(n) : QStringLiteral("Cell Var %1").arg(n - 256),
                      QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("2"), QString(), QString(),
                      n <= 256 ? QStringLiteral("250") : QStringLiteral("58")};
    }
    return set;
}

inline vls::RecordSet windowsSet()
{
    vls::RecordSet set = defaultSet();
    set[0] = {u"Café Menu"_s, u"3"_s, u"1"_s, u"2"_s, u"Price \"today\": 5 €, 6 €"_s, QString(), u"250"_s};
    set[1] = {u"Text Var 2"_s, u"7"_s, u"2"_s, u"1"_s, u"Ünïcödé ÀÿŠŒ™ „“”…"_s, QString(), u"40"_s};
    set[256] = {u"Cell, with comma"_s, u"1"_s, u"2"_s, u"2"_s, QString(), u"C:\\Data\\vars.xls!Variables!R2C2"_s, u"58"_s};
    set[415] = {u"Cell Var 160"_s, u"1"_s, u"2"_s, u"2"_s, u"\"\""_s, QString(), QString()};
    return set;
}

inline bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace fixture
