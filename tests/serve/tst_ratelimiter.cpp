// Failed logins: free ones within the window, then a wait that grows with
// every further failure, and is forgotten after a quiet window or a success.

#include "ratelimiter.h"

#include <QTest>

class TstRateLimiter final : public QObject {
    Q_OBJECT
private slots:
    void waitsGrowAndAreForgotten()
    {
        qint64 now = 1000000;
        serve::RateLimiter limiter(3, 60000, [&] { return now; });
        const QString a = QStringLiteral("192.0.2.1");
        limiter.failed(a);
        limiter.failed(a);
        QCOMPARE(limiter.waitMs(a), 0);
        limiter.failed(a);
        const qint64 first = limiter.waitMs(a);
        QVERIFY(first > 0);
        QCOMPARE(limiter.waitMs(QStringLiteral("192.0.2.2")), 0);
        now += first;
        QCOMPARE(limiter.waitMs(a), 0);
        limiter.failed(a);
        QVERIFY(limiter.waitMs(a) > first);
        now += 16 * 60000; // longer than the longest wait and the window
        QCOMPARE(limiter.waitMs(a), 0);
        limiter.failed(a);
        QCOMPARE(limiter.waitMs(a), 0); // the count starts again
        limiter.failed(a);
        limiter.failed(a);
        QCOMPARE(limiter.waitMs(a), first);
        limiter.succeeded(a);
        QCOMPARE(limiter.waitMs(a), 0);
    }
};

QTEST_GUILESS_MAIN(TstRateLimiter)
#include "tst_ratelimiter.moc"
