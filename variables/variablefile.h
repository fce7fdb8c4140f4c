#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <array>

class QIODevice;

// The variable configuration file (".vls"): Windows-1252 text with CR LF line
// ends (LF or CR alone are read too), one double-quoted value per line. Line 1 is the header, lines 2 ... 417
// the records of variables 1 ... 416: seven fields joined by Chr(1), with every
// double quote carried as Chr(0).
namespace vls {
inline constexpr int kRecordCount = 416;
inline constexpr int kFieldCount = 7;
using Record = std::array<QString, kFieldCount>;
using RecordSet = std::array<Record, kRecordCount>;
// Each field's name as the CSV export and the web API spell it, in the record's order.
inline constexpr std::array<const char*, kFieldCount> kFieldNames{"name", "color", "blink",     "inverse",
                                                                  "data", "link",  "max_length"};
} // namespace vls

class VariableFile final {
public:
    static inline const QString kHeader = QStringLiteral("QMDVariableFileZOL1.1");
    static inline const QString kDefaultFileName = QStringLiteral("QMDvarinfo.vls");
    static constexpr char16_t kFieldSeparator = 1;
    static constexpr char16_t kQuoteCarrier = 0;
    // A longer line is taken for damage (a record is a few hundred bytes).
    static constexpr qint64 kMaxLineBytes = 16 * 1024 * 1024;

    struct ReadResult {
        bool opened = false;     // the file could be opened for reading
        bool headerRead = false; // its first value could be read
        bool compatible = false; // ... and was kHeader
        int recordsRead = 0;     // records stored, from variable 1 on
        // Why the file did not read completely, for people: "line 3 is longer
        // than 16 MiB", "it ends after 200 of 416 records"; empty when it did.
        QString problem;

        bool complete() const { return compatible && recordsRead == vls::kRecordCount; }
    };

    // Reads the file's records into `records` from variable 1 on and stops at
    // the first line that cannot be read (end of file, no pair of double
    // quotes, a line over kMaxLineBytes). Records not read stay as they were.
    // Blank lines are skipped, as the platform's quoted-string input does.
    // Lines may end in CR LF, LF or CR.
    static ReadResult read(const QString& path, vls::RecordSet& records);
    static ReadResult read(QIODevice& device, vls::RecordSet& records);
    // Reads bytes as a file's content, keeping no records.
    static ReadResult readBytes(const QByteArray& bytes);
    // Whether the bytes hold the header and all 416 records.
    static bool readsCompletely(const QByteArray& bytes);

    // Writes the whole set. The old file is replaced only once the new one is
    // complete, so a failed save leaves it as it was; a read-only file is not
    // replaced. False on any failure, with the reason in `error`.
    //
    // Nothing that was in the file is lost: a file whose bytes would change is
    // first kept as "<path>.bak" (one generation; a save that changes nothing
    // writes nothing). A file that does not read completely (wrong header, a
    // line without quotes, fewer than 416 records) is also kept as
    // "<path>.unreadable-<yyyyMMdd-hhmmss>", with a warning saying where.
    // When a copy cannot be written the file is not replaced.
    static bool write(const QString& path, const vls::RecordSet& records, QString* error = nullptr);
    static QString backupPath(const QString& path);
    static QString unreadableCopyPath(const QString& path, const QDateTime& when);

    // The complete file as written.
    static QByteArray encode(const vls::RecordSet& records);
    // One record as it stands between the quotes (before the code page).
    static QString joinRecord(const vls::Record& record);
    // One value read from between the quotes, cut or padded to seven fields.
    static vls::Record splitRecord(QString value);

    // The file cannot carry Chr(0) (it stands for a double quote), Chr(1) (it
    // separates fields) nor CR and LF (they end a record): such characters are
    // dropped from every field, here and by clsVariableAccess when a field is
    // set, so that what is in memory is what a load gives back.
    static QString carriable(QString text);

    // The default file in `folder`: a separator goes between folder and name
    // when the folder has at least four characters (a drive root such as
    // "C:\" already ends with one); shorter native folders ("/", "/ab") get
    // one only when they do not end with one already.
    static QString defaultPathIn(const QString& folder);
    // A path from the settings store or a file, with "\" or "/", as a native path.
    static QString nativePath(const QString& path);

private:
    static bool writeWhole(const QString& target, const QByteArray& bytes, QString* error);
    static bool keepReplaced(const QString& target, const QByteArray& old, QString* error);
};
