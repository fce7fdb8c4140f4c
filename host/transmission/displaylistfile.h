#pragma once

// The host's display list file "Displays.dat" (format: docs/displays-dat.md):
// one display per line (LF, CR LF or CR alone), eight fields separated by "|",
// "%HH" escapes inside a field, "#" comment lines. A malformed line is reported with its line number
// and skipped; the other lines still load.

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

struct DisplayRecord {
    QString number;         // whole number 1 ... 32767, written without leading zeros
    QString name;           // never empty
    int16_t kind = 3;       // 1 serial port, 3 TCP, any other value a modem (kind 2)
    QString linkTarget;     // serial device, or host name for TCP
    QString kind1Param;     // serial parameters, "9600,N,8,1"
    QString kind3Param;     // TCP port
    QString otherKindParam; // the number a modem dials
    QString addressList;    // the display's addresses, joined by ","
    int line = 0;           // where the record came from in its file; 0 when not read from one

    bool sameContent(const DisplayRecord& other) const;
};

struct DisplayListError {
    int line = 0;
    QString message;
    QString text() const; // "line 4: ..."
};

class DisplayListFile final {
public:
    static constexpr int kFieldCount = 8;
    static constexpr char16_t kSeparator = u'|';
    // A list of 32,767 displays with long fields stays well below this.
    static constexpr qint64 kMaxFileBytes = 4 * 1024 * 1024;

    struct Contents {
        QList<DisplayRecord> records;
        QList<DisplayListError> errors;
        QStringList errorTexts() const;
    };

    // Parses the text of a whole file.
    static Contents parse(const QString& text);
    // One line: the record, or the reason why the line is not one. Comment and
    // blank lines give neither (nullopt with an empty error).
    static std::optional<DisplayRecord> parseLine(const QString& line, QString* error);

    // The line for a record, and a whole file with its explanatory header.
    static QString formatRecord(const DisplayRecord& record);
    static QString format(const QList<DisplayRecord>& records);

    static QString escapeField(const QString& field);
    static QString unescapeField(const QString& field);

    // Reads a file (Windows-1252, or UTF-8 after a UTF-8 byte-order mark).
    // Raises RuntimeError 53 when it does not exist and 75 when it cannot be
    // read or is larger than kMaxFileBytes.
    static Contents read(const QString& path);
    // Writes a file through a temporary file renamed over the old one.
    static bool write(const QString& path, const QList<DisplayRecord>& records, QString* error = nullptr);
};
