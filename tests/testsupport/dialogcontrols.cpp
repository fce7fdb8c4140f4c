#include "dialogcontrols.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QStringList>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

QString shownState(QWidget* dialog, const QString& name)
{
    QObject* object = name.isEmpty() ? dialog : dialog->findChild<QObject*>(name);
    QString text;
    bool enabled = true;
    if (auto* action = qobject_cast<QAction*>(object)) {
        text = action->text();
        enabled = action->isEnabled();
    } else if (auto* w = qobject_cast<QWidget*>(object)) {
        enabled = w->isEnabled();
        if (w == dialog)
            text = w->windowTitle();
        else if (auto* m = qobject_cast<QMenu*>(w))
            text = m->title();
        else if (auto* b = qobject_cast<QAbstractButton*>(w))
            text = b->text();
        else if (auto* g = qobject_cast<QGroupBox*>(w))
            text = g->title();
        else if (auto* l = qobject_cast<QLabel*>(w))
            text = l->text();
        else if (auto* e = qobject_cast<QLineEdit*>(w))
            text = e->text();
        else if (auto* c = qobject_cast<QComboBox*>(w))
            text = c->currentText();
        else if (auto* t = qobject_cast<QTabWidget*>(w)) {
            QStringList pages;
            for (int i = 0; i < t->count(); ++i)
                pages << t->tabText(i);
            text = pages.join(u'|');
        }
    } else {
        return QStringLiteral("<missing>");
    }
    return enabled ? text : text + QStringLiteral(" (disabled)");
}

void addControlRows(std::initializer_list<std::pair<const char*, const char*>> controls)
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("shown");
    for (const auto& [name, shown] : controls)
        QTest::newRow(*name ? name : "title") << QString::fromLatin1(name) << QString::fromLatin1(shown);
}

void whenModal(const QString& name, std::function<void(QWidget*)> step)
{
    QTimer::singleShot(0, [name, step] {
        QWidget* window = nullptr;
        const auto active = [&] {
            window = QApplication::activeModalWidget();
            return window && (name.isEmpty() || window->objectName() == name);
        };
        [&] {
            QTRY_VERIFY_WITH_TIMEOUT(active(), 10000);
            step(window);
        }();
        if (active() && window->isVisible())
            window->close();
    });
}

void click(QWidget* dialog, const QString& name, const QString& caption)
{
    if (auto* action = dialog->findChild<QAction*>(name))
        return action->trigger();
    auto* button = dialog->findChild<QAbstractButton*>(name);
    QVERIFY2(button, qPrintable(QStringLiteral("no button ") + name));
    if (!caption.isNull())
        QCOMPARE(button->text(), caption);
    QTest::mouseClick(button, Qt::LeftButton);
}

void typeInto(QLineEdit* box, const QString& text)
{
    box->clear();
    QTest::keyClicks(box, text);
}
