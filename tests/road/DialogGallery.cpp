// Opens every dialog of the window in four languages and leaves a picture of each, for people to look at.
#include "RoadWorld.h"
#include "ScriptedUser.h"

#include "core/CoreControl.h"
#include "platform/core/RealInput.h"
#include "sdk/SdkControl.h"

#include <QtCore/QDir>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <cstdio>

namespace
{

const int LIMIT_MS = 120000;
const int SETTLE_MS = 400; ///< from the dialog's first sight until it has been painted and activated

struct Language {
    const char *code;
    const char *menu;
    const char *letter;
    const char *outsider; ///< what the card's default alphabet does not have
};

const Language languages[] = {
    {"en", "English", "A", "→"},
    {"ru", "Русский", "Я", "Сочи"},
    {"zh", "中文", "李", "上海"},
    {"ar", "العربية", "م", "عدن"},
};

class Gallery
{
public:
    Gallery(const QString &folder, const Language &language) : m_folder(folder), m_language(language), m_world(true) {}

    bool fill();

private:
    bool open();
    QStringList script() const;
    bool shoot(const QString &name);
    QString itemName(int index) const;

    const QString m_folder;
    const Language &m_language;
    RoadWorld m_world;
    QElapsedTimer m_settling;
};

bool Gallery::open()
{
    core::setLanguage(m_language.code);
    if (!m_world.attach("dialogs.yaml") || !QTest::qWaitFor([&] { return m_world.exchanges().size() >= 2; }) ||
        !m_world.show(static_cast<int>(std::size(languages))))
        return false;
    ScriptedUser user(&m_world, {QString("do select ") + m_language.menu});
    return QTest::qWaitFor([&] { return user.isOver() && m_world.table()->rowCount() == 10 && !m_world.isWaiting(); });
}

QString Gallery::itemName(int index) const
{
    return m_world.table()->item(index, 0)->text();
}

/// Every item ends the session: the way to the next begins in the main menu. Inputs are left by Escape, since only
/// every other close of the frame tells the card.
QStringList Gallery::script() const
{
    const QString letter = m_language.letter;
    const QString outsider = m_language.outsider;
    const QList<QStringList> dialogs = {
        {"do await text", "do shoot 01-text", "do key Escape"},
        {"do await count-down", "do shoot 02-timed-text", "do key Escape"},
        {"do await input", "do type " + letter, "do shoot 03-key", "do key Escape"},
        {"do await input", "do shoot 04-digits-empty", "do type 25", "do shoot 04-digits", "do key Escape"},
        {"do await input", "do type 1234", "do shoot 05-hidden", "do key Escape"},
        {"do await text", "do shoot 06-yes-no", "do key Escape"},
        {"do await input", "do type " + outsider, "do key Return", "do await text", "do shoot 07-refused",
         "do key Escape", "do await input", "do key Escape"},
        {"do await text", "do shoot 08-long-text", "do key Escape"},
        {"do await input", "do shoot 09-long-question", "do key Escape"},
        {"do await 3 rows", "do shoot 10-long-menu", "do back", "do await 10 rows"},
    };
    QStringList lines = {"do shoot 00-menu"};
    for (int i = 0; i < dialogs.size(); ++i) {
        lines << "do select " + itemName(i) << dialogs.at(i);
        if (i + 1 < dialogs.size())
            lines << "do await 4 rows" << QString("do select ") + m_language.menu << "do await 10 rows";
    }
    return lines;
}

/// The uppermost window as it is on the screen, once it has settled.
bool Gallery::shoot(const QString &name)
{
    QWidget *window = QApplication::activeModalWidget();
    if (!window || !window->isActiveWindow() || !window->windowHandle()->isExposed()) {
        if (window)
            window->activateWindow(); // the window manager has not always done it when a dialog has gone
        return false;
    }
    if (!m_settling.isValid())
        m_settling.start();
    if (m_settling.elapsed() < SETTLE_MS)
        return false;
    m_settling.invalidate();
    const QPixmap picture = QApplication::primaryScreen()->grabWindow(window->winId());
    const QString file = m_folder + '/' + m_language.code + '-' + name + ".png";
    if (!picture.save(file))
        std::fprintf(stderr, "%s cannot be written\n", qPrintable(file));
    return true;
}

bool Gallery::fill()
{
    if (!open())
        return false;
    const QStringList lines = script();
    ScriptedUser user(&m_world, lines);
    for (const QString &line : lines.filter("do shoot ")) {
        const QString name = line.mid(9);
        user.teach(line.mid(3), [this, name] { return shoot(name); });
    }
    user.teach("await text", [&] { return user.view().startsWith("text "); });
    user.teach("await count-down", [&] { return user.view().contains(" = 9]"); });
    user.teach("await input", [&] { return user.view().startsWith("input "); });
    for (int rows : {3, 4, 10}) {
        user.teach(QString("await %1 rows").arg(rows), [this, &user, rows] {
            return m_world.table()->rowCount() == rows && user.view().startsWith("menu ");
        });
    }
    const bool isOver = QTest::qWaitFor([&] { return user.isOver(); }, LIMIT_MS);
    const bool isDone = isOver && user.record() == lines;
    if (!isDone)
        std::fprintf(stderr, "%s: stopped in %s\n", m_language.code, qPrintable(user.record().join("; ")));
    return isDone;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    app.setQuitOnLastWindowClosed(false);
    QDir().mkpath(argv[1]);
    bool isDone = true;
    for (const Language &language : languages)
        isDone = Gallery(QString::fromLocal8Bit(argv[1]), language).fill() && isDone;
    return isDone ? 0 : 1;
}
