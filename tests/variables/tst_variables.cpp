// The variable set: numbers outside 1 ... 416, the text sent to a display, and
// loading and saving: the file byte for byte as the original writes it, the
// current file in the settings store, the host's copy of the data, odd and
// damaged files, and saves that fail without harming the file already there.

#include "datarow.h"
#include "clsVariableAccess.h"
#include "fakehostobjects.h"
#include "privatelabel.h"
#include "registryroutines.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "variablefile.h"

#include <QDir>
#include <QSet>
#include <QScopeGuard>
#include <QTest>

#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <functional>

using namespace Qt::StringLiterals;
using namespace std::string_view_literals;
using Record = clsVariableAccess::Record;

namespace {
const QByteArray kHeader = "\"QMDVariableFileZOL1.1\"\r\n";

const struct {
    QString (clsVariableAccess::*get)(int16_t) const;
    void (clsVariableAccess::*set)(int16_t, const QString&);
} kProperties[] = {
    // in the order of the record's fields
    {&clsVariableAccess::VariableName, &clsVariableAccess::setVariableName},
    {&clsVariableAccess::VariableColor, &clsVariableAccess::setVariableColor},
    {&clsVariableAccess::VariableBlink, &clsVariableAccess::setVariableBlink},
    {&clsVariableAccess::VariableInverse, &clsVariableAccess::setVariableInverse},
    {&clsVariableAccess::VariableData, &clsVariableAccess::setVariableData},
    {&clsVariableAccess::VariableOLELink, &clsVariableAccess::setVariableOLELink},
    {&clsVariableAccess::VariableMaxLength, &clsVariableAccess::setVariableMaxLength},
};

// One record line: the fields joined by 0x01, between double quotes, CR LF.
QByteArray line(std::initializer_list<std::string_view> fields)
{
    QByteArray out;
    for (std::string_view f : fields)
        out += (out.isEmpty() ? "\"" : "\x01") + QByteArray(f.data(), qsizetype(f.size()));
    return out + "\"\r\n";
}

QByteArray defaultLine(int n, const std::string& data = {})
{
    const std::string name = n <= 256 ? "Text Var " + std::to_string(n) : "Cell Var " + std::to_string(n - 256);
    return line({name, "1", "2", "2", data, "", n <= 256 ? "250" : "58"});
}

Record defaultRecord(int n, const QString& data = {})
{
    const bool text = n <= 256;
    return {text ? u"Text Var %1"_s.arg(n) : u"Cell Var %1"_s.arg(n - 256),
            u"1"_s,
            u"2"_s,
            u"2"_s,
            data,
            {},
            text ? u"250"_s : u"58"_s};
}

// Records 1 ... count, with the data "data n".
QByteArray fileWith(int count)
{
    QByteArray out = kHeader;
    for (int n = 1; n <= count; ++n)
        out += defaultLine(n, "data " + std::to_string(n));
    return out;
}

// As the original writes it on Windows: accents, the euro sign, quotes (as 0x00) and commas.
QByteArray windowsFile()
{
    QByteArray out = kHeader;
    for (int n = 1; n <= 416; ++n)
        out += n == 1     ? line({"Caf\xe9 Menu"sv, "3", "1", "2", "Price \0today\0: 5 \x80, 6 \x80"sv, "", "250"})
               : n == 2   ? line({"Text Var 2", "7", "2", "1",
                                  "\xdc"
                                    "n\xef"
                                    "c\xf6"
                                    "d\xe9 \xc0\xff\x8a\x8c\x99 \x84\x93\x94\x85",
                                  "", "40"})
               : n == 257 ? line({"Cell, with comma", "1", "2", "2", "", "C:\\Data\\vars.xls!Variables!R2C2", "58"})
               : n == 416 ? line({"Cell Var 160", "1", "2", "2", "\0\0"sv, "", ""})
                          : defaultLine(n);
    return out;
}

Record windowsRecord(int n)
{
    switch (n) {
    case 1: return {u"Café Menu"_s, u"3"_s, u"1"_s, u"2"_s, u"Price \"today\": 5 €, 6 €"_s, {}, u"250"_s};
    case 2: return {u"Text Var 2"_s, u"7"_s, u"2"_s, u"1"_s, u"Ünïcödé ÀÿŠŒ™ „“”…"_s, {}, u"40"_s};
    case 257:
        return {u"Cell, with comma"_s, u"1"_s, u"2"_s, u"2"_s, {}, u"C:\\Data\\vars.xls!Variables!R2C2"_s, u"58"_s};
    case 416: return {u"Cell Var 160"_s, u"1"_s, u"2"_s, u"2"_s, u"\"\""_s, {}, {}};
    default: return defaultRecord(n);
    }
}

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(VariableFile::nativePath(path));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString fileLocation() { return settings::read(settings::kVarFileLoc, u"<missing>"_s); }
QString hostValue(int n)
{
    return settings::ReadMachineSetting(u"Lumarex3"_s, u"Variables"_s, u"VBL%1"_s.arg(n, 3, 10, QChar(u'0')),
                                        u"<missing>"_s);
}
QString shown(const msgbox::Request& r, const QString& location)
{
    return u"%1 [%2, %3, %4] while the file was %5"_s.arg(r.text, r.title).arg(r.buttons).arg(r.icon).arg(location);
}

// Every message shown, with where the current file pointed at that moment.
class RecordingMessageBox final : public msgbox::Service {
public:
    RecordingMessageBox() { msgbox::setService(this); }
    ~RecordingMessageBox() override { msgbox::setService(nullptr); }
    msgbox::Answer show(QWidget*, const msgbox::Request& request) override
    {
        messages << shown(request, fileLocation());
        return msgbox::OK;
    }
    QStringList messages;
};

// Root passes every permission check, which would hide what a read-only folder
// or an unreadable file does: takes away (or gives back) the capabilities that
// override file permissions, for the calling thread.
bool overrideFileRights(bool on)
{
    constexpr unsigned kOverrides = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH) | (1u << CAP_FOWNER);
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (syscall(SYS_capget, &header, data) != 0)
        return false;
    data[0].effective = on ? data[0].effective | (data[0].permitted & kOverrides) : data[0].effective & ~kOverrides;
    return syscall(SYS_capset, &header, data) == 0 || geteuid() != 0;
}

// Until the guard goes, writes stop with EFBIG once a file reaches `bytes`, as on a full disk.
auto fileSizeLimit(rlim_t bytes)
{
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit limit{std::min(bytes, old.rlim_max), old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    return qScopeGuard([old, handler = std::signal(SIGXFSZ, SIG_IGN)] {
        setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, handler);
    });
}

struct DisplayCase { // one case of GetDisplayableData; linkedTo "-": no container at all
    int n;
    QString data, link, maxLength, linkedTo, linkedValue, expected;
    QStringList linksCreated;
};
} // namespace
Q_DECLARE_METATYPE(DisplayCase)

class TestVariables final : public QObject {
    Q_OBJECT
private slots:
    void numberOutsideRangeRaises()
    {
        TestEnvironment env;
        clsVariableAccess set;
        constexpr int kSubscript = RuntimeError::SubscriptOutOfRange;
        for (int16_t n : {0, 417, -1}) {
            QCOMPARE(errorOf([&] { set.record(n); }).number(), kSubscript);
            for (const auto& p : kProperties) {
                QCOMPARE(errorOf([&] { (set.*p.get)(n); }).number(), kSubscript);
                QCOMPARE(errorOf([&] { (set.*p.set)(n, u"x"_s); }).number(), kSubscript);
            }
        }
    }

    void displayableData_data()
    {
        QTest::addColumn<DisplayCase>("c");
        const QString src = u"C:\\Data\\vars.xls!Variables!R2C2"_s, other = u"C:\\Data\\vars.xls!Variables!R3C2"_s;
        const QString longText(300, u'x');
        addRow("text default 250", DisplayCase{1, longText, "", "", "-", "", longText.left(250), {}});
        addRow("cell default 58", DisplayCase{300, longText, "", "", "-", "", longText.left(58), {}});
        addRow("linked elsewhere: relinked", DisplayCase{257, "stale", src, "58", other, "42\r\n", "42", {src}});
        addRow("already linked: no new link", DisplayCase{257, "", src, "58", src, "42\r\n", "42", {}});
        addRow("unlinked container", DisplayCase{257, "", src, "58", "", "7", "7", {src}});
        addRow("CR LF pairs removed, lone CR and LF kept",
               DisplayCase{2, "", src, "250", src, "a\r\nb\r\n\r\nc\rd\ne\n\r", "abc\rd\ne\n\r", {}});
        addRow("cut after CR LF removal", DisplayCase{2, "", src, "3", src, "1\r\n2\r\n345", "123", {}});
        addRow("reading the link fails", DisplayCase{2, "data", src, "250", src, "!", "", {}});
        addRow("linked, no container", DisplayCase{2, "data", src, "250", "-", "", "", {}});
        addRow("max length not a number", DisplayCase{3, "Hello", "", "abc", "-", "", "", {}});
        addRow("max length with a number first", DisplayCase{3, "Hello", "", "2x", "-", "", "", {}});
        addRow("max length negative", DisplayCase{3, "Hello", "", "-1", "-", "", "", {}});
        addRow("max length with blanks", DisplayCase{3, "Hello", "", " 3 ", "-", "", "Hel", {}});
        addRow("max length rounds half to even", DisplayCase{3, "Hello", "", "2.5", "-", "", "He", {}});
        addRow("max length overflows", DisplayCase{3, "Hello", "", "99999999999", "-", "", "", {}});
        addRow("number 0", DisplayCase{0, "", "", "", "-", "", "", {}});
    }

    void displayableData()
    {
        QFETCH(DisplayCase, c);
        TestEnvironment env;
        clsVariableAccess set;
        if (c.n >= 1 && c.n <= 416) {
            set.setVariableData(int16_t(c.n), c.data);
            set.setVariableOLELink(int16_t(c.n), c.link);
            set.setVariableMaxLength(int16_t(c.n), c.maxLength);
        }
        FakeLinkContainer container;
        container.linkedTo = c.linkedTo;
        container.value = c.linkedValue;
        QCOMPARE(set.GetDisplayableData(int16_t(c.n), c.linkedTo == u"-" ? nullptr : &container), c.expected);
        QCOMPARE(container.linksCreated, c.linksCreated);
        QCOMPARE(container.dataFormat, c.link.isEmpty() || c.linkedTo == u"-" ? QString() : u"CF_TEXT"_s);
    }

    // Typed in by hand, the set's first save creates the default file with the
    // original's bytes; loaded again, it holds the same set and is saved unchanged.
    void windowsFileByteForByte()
    {
        TestEnvironment env;
        RecordingMessageBox box;
        const QString path = env.folder() + QDir::separator() + u"QMDvarinfo.vls"_s;
        {
            clsVariableAccess set;
            QCOMPARE(fileLocation() + set.CurrFileName(), u"<missing>"_s); // nothing to load yet, nothing recorded
            for (int16_t n : {1, 2, 257, 416}) {
                for (int f = 0; f < 7; ++f)
                    (set.*kProperties[f].set)(n, windowsRecord(n)[f]);
            }
        }
        QCOMPARE(fileLocation(), path);
        QCOMPARE(readFile(path), windowsFile());
        QCOMPARE(RegistryRoutines(RegistryRoutines::LocalMachine)
                     .valueNames(u"Software\\Morvel\\Lumarex3\\Variables"_s)
                     .size(),
                 416);
        {
            clsVariableAccess set;
            QCOMPARE(set.CurrFileName(), u"QMDvarinfo.vls"_s);
            for (int16_t n = 1; n <= 416; ++n) {
                const Record expected = windowsRecord(n);
                QVERIFY2(set.record(n) == expected, qPrintable(u"variable %1"_s.arg(n)));
                for (int f = 0; f < 7; ++f) // an empty maximum length reads as the kind's default
                    QCOMPARE((set.*kProperties[f].get)(n), f == 6 && n == 416 ? u"58"_s : expected[f]);
                QCOMPARE(hostValue(n), expected[4]); // VBL001 ... VBL416
            }
        }
        QCOMPARE(readFile(path), windowsFile());
        QCOMPARE(box.messages, QStringList());
    }

    void typedTextRoundTrips_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("held");   // what the set holds at once
        QTest::addColumn<QString>("loaded"); // what a load gives back
        QString ascii;
        for (char16_t c = 32; c < 127; ++c)
            ascii += QChar(c);
        const QString upperHalf = u"€‚ƒ„…†‡ˆ‰Š‹ŒŽ‘’“”•–—˜™š›œžŸ\u00a0¡¢£¤¥¦§¨©ª«¬\u00ad®¯°±²³´µ¶·¸¹º»¼½¾¿"
                                  u"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞßàáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ"_s;
        addRow("printable ASCII", ascii, ascii, ascii);
        addRow("upper half of the code page", upperHalf, upperHalf, upperHalf);
        // The file cannot carry these: they are dropped as soon as they are set.
        addRow("field separator dropped", u"a\u0001b\u0001"_s, u"ab"_s, u"ab"_s);
        addRow("quote carrier dropped", u"a"_s + QChar(0) + u"b"_s, u"ab"_s, u"ab"_s);
        addRow("line breaks dropped", u"one\r\ntwo\nthree\r"_s, u"onetwothree"_s, u"onetwothree"_s);
        // Characters outside the code page are held as typed and saved as '?'.
        addRow("outside the code page", u"Ā中"_s, u"Ā中"_s, u"??"_s);
    }

    void typedTextRoundTrips()
    {
        QFETCH(QString, typed);
        QFETCH(QString, held);
        QFETCH(QString, loaded);
        TestEnvironment env;
        const auto fields = [](const clsVariableAccess& s) {
            return QStringList{s.VariableName(1), s.VariableData(257), s.VariableOLELink(416)};
        };
        {
            clsVariableAccess set;
            set.setVariableName(1, typed);
            set.setVariableData(257, typed);
            set.setVariableOLELink(416, typed);
            QCOMPARE(fields(set), QStringList(3, held));
        }
        QCOMPARE(hostValue(257), held); // as the set held it when saved
        QCOMPARE(fields(clsVariableAccess()), QStringList(3, loaded));
    }

    void load_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("loaded");        // records 1 ... loaded hold "data n", the others a fresh set's
        QTest::addColumn<QStringList>("first"); // or record 1 holds these
        QTest::addColumn<bool>("current");      // the file becomes the current one
        QTest::addColumn<bool>("incompatible"); // after the message
        const QByteArray h = kHeader, all = fileWith(416), records = all.mid(h.size());
        const QStringList none, ab{u"a"_s, u"b"_s, {}, {}, {}, {}, {}};
        addRow("missing", u"missing"_s, QByteArray(), 0, none, false, false);
        addRow("unreadable", u"unreadable"_s, all, 0, none, false, false);
        addRow("empty", QString(), QByteArray(), 0, none, false, false);
        addRow("cut inside the header", QString(), QByteArray("\"QMDVariable"), 0, none, false, false);
        for (const char* header :
             {"QMDVariableFileZOL1.0", "qmdvariablefilezol1.1", "QMDVariableFileZOL1.1 ", "QMDVariableFileZOL1.", ""})
            QTest::addRow("header \"%s\"", header)
                << QString() << '"' + QByteArray(header) + "\"\r\n" + records << 0 << none << true << true;
        addRow("header only", QString(), h, 0, none, true, false);
        addRow("short record padded", QString(),
               h
                   + "\"a\x01"
                     "b\"\r\n",
               0, ab, true, false);
        addRow("long record cut", QString(), h + line({"a", "b", "", "", "", "", "", "h", "i"}), 0, ab, true, false);
        addRow("empty record", QString(), h + "\"\"\r\n", 0, QStringList(7, QString()), true, false);
        addRow("text around the quotes", QString(),
               h
                   + "  x\"a\x01"
                     "b\"y\"z\"\r\n",
               0, ab, true, false);
        addRow("cut inside record 101", QString(), fileWith(101).chopped(9), 100, none, true, false);
        addRow("line 300 without quotes stops", QString(), fileWith(299) + "damaged\r\n" + records, 299, none, true,
               false);
        addRow("lines after the last ignored", QString(), all + "\"junk\"\r\nno quotes\r\n", 416, none, true, false);
        addRow("blank lines skipped", QString(), h + "\r\n  \r\n" + fileWith(2).mid(h.size()), 2, none, true, false);
        addRow("LF line ends", QString(), QByteArray(fileWith(3)).replace("\r\n", "\n"), 3, none, true, false);
        addRow("no line end at the end", QString(), fileWith(3).chopped(2), 3, none, true, false);
    }

    void load()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, bytes);
        QFETCH(int, loaded);
        QFETCH(QStringList, first);
        QFETCH(bool, current);
        QFETCH(bool, incompatible);
        TestEnvironment env;
        RecordingMessageBox box;
        // Both separators: the file's name is what follows the last of either.
        const QString previous = env.folder() + u"\\old/previous.vls"_s, path = env.folder() + u"/new\\target.vls"_s;
        QVERIFY(QDir(env.folder()).mkpath(u"old"_s) && QDir(env.folder()).mkpath(u"new"_s));
        QVERIFY(writeBytes(previous, windowsFile()));
        QVERIFY(kind == u"missing" || writeBytes(path, bytes));
        QVERIFY(kind != u"unreadable" || QFile::setPermissions(VariableFile::nativePath(path), QFile::WriteOwner));
        settings::write(settings::kVarFileLoc, previous);
        clsVariableAccess set;
        {
            if (!overrideFileRights(false))
                QSKIP("file permissions cannot be made to count here");
            const auto restore = qScopeGuard([] { overrideFileRights(true); });
            set.LoadVariables(path);
        }
        const QString message = u"Error, this file version is not compatible with this plugin!"_s;
        QCOMPARE(box.messages,
                 incompatible
                     ? QStringList{shown({message, privatelabel::kAppTitle, msgbox::OKOnly, msgbox::NoIcon}, previous)}
                     : QStringList());
        QCOMPARE(fileLocation(), current ? path : previous);
        QCOMPARE(set.CurrFileName(), current ? u"target.vls"_s : u"previous.vls"_s);
        for (int16_t n = 1; n <= 416; ++n) {
            const Record expected = n == 1 && !first.isEmpty()
                                        ? Record{first[0], first[1], first[2], first[3], first[4], first[5], first[6]}
                                        : defaultRecord(n, n <= loaded ? u"data %1"_s.arg(n) : QString());
            QVERIFY2(set.record(n) == expected, qPrintable(u"variable %1"_s.arg(n)));
        }
    }

    // Saved through a new file renamed over the old one where the folder allows,
    // in place where only the file is writable.
    void saveReplacesFileInAnyFolder_data()
    {
        QTest::addColumn<bool>("folderWritable");
        addRow("writable folder", true);
        addRow("read-only folder, writable file", false);
    }
    void saveReplacesFileInAnyFolder()
    {
        QFETCH(bool, folderWritable);
        TestEnvironment env;
        RecordingMessageBox box;
        const QString folder = env.path(u"vars"_s), file = folder + u"/QMDvarinfo.vls"_s;
        QVERIFY(QDir().mkpath(folder) && writeBytes(file, windowsFile()));
        settings::write(settings::kVarFileLoc, file);
        QVERIFY(folderWritable || QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
        {
            if (!overrideFileRights(false))
                QSKIP("file permissions cannot be made to count here");
            const auto restore = qScopeGuard([] { overrideFileRights(true); });
            clsVariableAccess set;
            set.setVariableData(1, u"a new text"_s);
            set.SaveVariables();
        }
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(readFile(file).contains("a new text"));
        // The replaced content is kept beside it where the folder takes new files.
        const QStringList kept{u"QMDvarinfo.vls"_s, u"QMDvarinfo.vls.bak"_s};
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 folderWritable ? kept : kept.first(1));
        QCOMPARE(box.messages, QStringList());
    }

    void failedSaveKeepsOldFile_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char* kind : {"read-only file", "missing folder", "path is a folder", "disk full part-way"})
            addRow(kind, QString::fromLatin1(kind));
    }

    void failedSaveKeepsOldFile()
    {
        QFETCH(QString, kind);
        TestEnvironment env;
        RecordingMessageBox box;
        const QString folder = env.path(u"vars"_s), file = folder + u"/QMDvarinfo.vls"_s;
        QVERIFY(QDir().mkpath(folder + u"/sub"_s) && writeBytes(file, windowsFile()));
        settings::write(settings::kVarFileLoc, kind == u"missing folder"     ? env.path(u"nowhere/QMDvarinfo.vls"_s)
                                               : kind == u"path is a folder" ? folder + u"/sub"_s
                                                                             : file);
        QVERIFY(kind != u"read-only folder" || QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
        QVERIFY(kind != u"read-only file" || QFile::setPermissions(file, QFile::ReadOwner));
        {
            if (!overrideFileRights(false))
                QSKIP("file permissions cannot be made to count here");
            const auto restore = qScopeGuard([] { overrideFileRights(true); });
            const auto diskFull = fileSizeLimit(kind == u"disk full part-way" ? 1000 : RLIM_INFINITY);
            clsVariableAccess set;
            set.setVariableData(1, u"new"_s);
            set.SaveVariables();
        } // and the save as the set goes
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(readFile(file), windowsFile());
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 (QStringList{u"QMDvarinfo.vls"_s, u"sub"_s}));
        QVERIFY(!QFileInfo::exists(env.path(u"nowhere"_s)));
        QCOMPARE(hostValue(1), u"<missing>"_s); // the host's copy is written only with the file
        QCOMPARE(box.messages, QStringList());
    }

    // The machine's file size limit stops the save at every point in turn:
    // while keeping the old content beside it, while writing the new one, or
    // not at all. The file always loads whole, as it was or as saved.
    void saveInterruptedAtAnyWrite()
    {
        TestEnvironment env;
        const QString folder = env.path(u"vars"_s), file = folder + u"/QMDvarinfo.vls"_s;
        QVERIFY(QDir().mkpath(folder));
        vls::RecordSet edited;
        for (int n = 1; n <= 416; ++n)
            edited[n - 1] = defaultRecord(n, u"edited %1"_s.arg(n));
        const QByteArray old = windowsFile(), saved = VariableFile::encode(edited);
        const qint64 largest = std::max(old.size(), saved.size());
        QSet<qint64> limits{0, 1, kHeader.size(), old.size() - 1, old.size(), saved.size() - 1, saved.size()};
        for (qint64 limit = 0; limit <= largest; limit += 499)
            limits.insert(limit);
        for (const qint64 limit : std::as_const(limits)) {
            const QString at = u"limit %1"_s.arg(limit);
            QVERIFY(writeBytes(file, old));
            QFile::remove(file + u".bak"_s);
            bool written = false;
            {
                const auto diskFull = fileSizeLimit(rlim_t(limit));
                // The warning that the backup did not fit comes at some limits only.
                const QtMessageHandler previous = qInstallMessageHandler(
                    [](QtMsgType, const QMessageLogContext&, const QString&) {});
                written = VariableFile::write(file, edited);
                qInstallMessageHandler(previous);
            }
            const QByteArray now = readFile(file);
            QVERIFY2(now == (written ? saved : old), qPrintable(at));
            vls::RecordSet loaded;
            QVERIFY2(VariableFile::read(file, loaded).complete(), qPrintable(at));
            // Nothing half-written is left beside it; a backup is whole or absent.
            QStringList left = QDir(folder).entryList(QDir::Files | QDir::Hidden);
            left.removeAll(u"QMDvarinfo.vls"_s);
            QVERIFY2(left.isEmpty()
                         || (left == QStringList{u"QMDvarinfo.vls.bak"_s} && readFile(file + u".bak"_s) == old),
                     qPrintable(at + u": "_s + left.join(u' ')));
            QCOMPARE(written, limit >= largest);
        }
    }

    // A settings store that cannot be written to: the file is still saved,
    // nothing is reported, and the store on disk keeps what it had.
    void saveWithReadOnlySettingsStore()
    {
        TestEnvironment env;
        RecordingMessageBox box;
        const QString file = env.path(u"vars/QMDvarinfo.vls"_s);
        QVERIFY(QDir().mkpath(env.path(u"vars"_s)));
        settings::write(settings::kVarFileLoc, file);
        QVERIFY(QFile::setPermissions(env.machineStore(), QFile::ReadOwner));
        QVERIFY(QFile::setPermissions(env.folder(), QFile::ReadOwner | QFile::ExeOwner));
        const auto writable = qScopeGuard([&] {
            QFile::setPermissions(env.folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QFile::setPermissions(env.machineStore(), QFile::ReadOwner | QFile::WriteOwner);
        });
        {
            if (!overrideFileRights(false))
                QSKIP("file permissions cannot be made to count here");
            const auto restore = qScopeGuard([] { overrideFileRights(true); });
            clsVariableAccess set;
            set.setVariableData(1, u"kept in the file"_s);
            set.SaveVariables();
            settings::write(settings::kRetryInterval, u"5"_s);
        }
        QCOMPARE(box.messages, QStringList());
        QVERIFY(readFile(file).contains("kept in the file"));
        const QByteArray store = readFile(env.machineStore());
        QVERIFY2(store.contains("QMDVarFileLoc") && !store.contains("VBL001") && !store.contains("RetryInterval"),
                 store.constData());
    }

    void defaultPath_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("expected");
        addRow("drive root", u"C:\\"_s, u"C:\\"_s);
        addRow("root", u"/"_s, u"/"_s);
        addRow("short folder", u"/ab"_s, u"/ab"_s + QDir::separator());
        // Only the length counts: four characters ending in a separator still get one.
        addRow("four characters ending in a separator", u"/ab/"_s, u"/ab/"_s + QDir::separator());
    }

    void defaultPath()
    {
        QFETCH(QString, folder);
        QFETCH(QString, expected);
        QCOMPARE(VariableFile::defaultPathIn(folder), expected + u"QMDvarinfo.vls"_s);
    }
};

QTEST_GUILESS_MAIN(TestVariables)
#include "tst_variables.moc"
