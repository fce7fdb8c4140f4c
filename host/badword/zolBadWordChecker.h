#pragma once

#include "progids.h"
#include "machinesettings.h"

#include <QObject>
#include <QString>

// The bad-word checker plug-in (ProgID "zolBadWordCheckerPLG.zolBadWordChecker"),
// run by the plug-in master on every variable text before it is sent.
class zolBadWordChecker final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(zolBadWordChecker)
public:
    static inline const char* kProgId = progid::kBadWordChecker;
    // Where the word list is: this machine-wide setting holds its full path; by
    // default it is "BadWords.txt" in the checker library's folder.
    static constexpr settings::Key kWordListSetting{"Lumarex3", "BadWordChecker", "WordList", nullptr};
    static inline const QString kDefaultWordList = QStringLiteral("BadWords.txt");

    explicit zolBadWordChecker(QObject* parent = nullptr);

    // Masks the listed words in param1 (whole words, any case) with "*" of the
    // same length. status comes back True when something was masked. param2 is
    // not used.
    Q_INVOKABLE void CleanCMD(QString& param1, QString param2, bool& status);

    // The word list file in use.
    Q_INVOKABLE QString WordListPath() const;
};
