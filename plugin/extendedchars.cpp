#include "extendedchars.h"

#include "codepage.h"
#include "legacy.h"
#include "runtimeerror.h"
#include "settingsstore.h"

#include <QFile>
#include <QFileInfo>

QString readExtendedCharacterTable(const QString& indexPath)
{
    QFile file(indexPath);
    if (!file.open(QIODevice::ReadOnly))
        throw RuntimeError(RuntimeError::FileNotFound);
    const QByteArray bytes = file.readAll();
    // The count is half the length, rounded half to even; an odd length may make
    // the last entry read one byte past the end, which reads as 0.
    const int16_t count = legacy::toInt16(bytes.size() / 2.0);
    QString table;
    table.reserve(count);
    for (int i = 0; i < count; ++i) {
        const int at = i * 2;
        const int high = at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
        const int low = at + 1 < bytes.size() ? static_cast<unsigned char>(bytes[at + 1]) : 0;
        const int16_t code = legacy::add16(legacy::mul16(high, 256), low);
        table.append(QChar(char16_t(static_cast<uint16_t>(code))));
    }
    return table;
}

QString MapExtendedCharacters(const QString& text)
{
    const QString folder = settings::read(settings::kAppPath, settings::pluginFolder());
    const QString fontPath = settings::joinPath(folder, QStringLiteral("Extended\\6X8L.CFF"));
    const QString indexPath = settings::joinPath(folder, QStringLiteral("Extended\\6X8L.IDX"));
    if (!QFileInfo::exists(fontPath) || !QFileInfo::exists(indexPath))
        return text;

    const QString table = readExtendedCharacterTable(indexPath);
    QString out;
    out.reserve(text.size());
    for (QChar c : text) {
        if (codepage::asc(c) < 128) {
            out.append(c);
            continue;
        }
        const int p = int(table.indexOf(c)) + 1;
        if (p > 0) {
            if (p + 127 > 255)
                RuntimeError::raise(RuntimeError::InvalidProcedureCall);
            out.append(codepage::chr(p + 127));
        }
    }
    return out;
}
