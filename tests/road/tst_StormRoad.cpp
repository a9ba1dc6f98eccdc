// A card that never stops asking: hundreds of proactive commands of every kind as fast as the terminal answers, while
// somebody closes and answers whatever is on top. The card gets exactly one answer to each.
#include "RoadWorld.h"

#include "sdk/SdkControl.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace
{

const int COMMANDS = 400;
const int LATENCY_MS = 30; // the window overlooks a card that answers before its request has returned
const int LIMIT_MS = 100000;

cat::Bytes object(std::uint8_t tag, const std::string &value)
{
    cat::Bytes bytes = {tag, std::uint8_t(value.size())};
    bytes.insert(bytes.end(), value.begin(), value.end());
    return bytes;
}

/// A proactive command of the card to the device `to`.
cat::Bytes command(int number, std::uint8_t type, std::uint8_t qualifier, std::uint8_t to,
                   const std::vector<cat::Bytes> &objects)
{
    cat::Bytes body = {0x81, 0x03, std::uint8_t(number), type, qualifier, 0x82, 0x02, 0x81, to};
    for (const cat::Bytes &each : objects)
        body.insert(body.end(), each.begin(), each.end());
    body.insert(body.begin(), {0xD0, std::uint8_t(body.size())});
    return body;
}

/// The command with this number; numbers of commands are 1 to 254.
cat::Bytes stormCommand(int index)
{
    const int number = 1 + index % 254;
    const cat::Bytes text = object(0x8D, "\x04Storm");
    switch (index % 10) {
    case 0:
        return command(number, 0x21, 0x80, 0x02, {text});
    case 1:
        return command(number, 0x22, 0x00, 0x82, {text});
    case 2:
        return command(number, 0x23, 0x00, 0x82, {text, object(0x91, std::string("\x01\x05", 2))});
    case 3:
        return command(number, 0x22, 0x04, 0x82, {text});
    case 4:
        return command(number, 0x24, 0x00, 0x82, {object(0x8F, "\x01One"), object(0x8F, "\x02Two")});
    case 5:
        return command(number, 0x28, 0x00, 0x82, {text});
    case 6:
        return command(number, 0x25, 0x00, 0x82, {object(0x85, "Storm"), object(0x8F, "\x01Go")});
    case 7:
        return command(number, 0x10, 0x00, 0x83, {object(0x86, "\x81\x21\x43")});
    case 8:
        return command(number, 0x15, 0x00, 0x82, {object(0x31, "http://www.example.com")});
    default:
        return command(number, 0x28, 0x00, 0x82, {text});
    }
}

/// What the card has asked and been told.
struct Tally {
    std::atomic<int> asked{0};
    std::atomic<int> answered{0};
    std::atomic<int> wrong{0}; ///< answers to nothing, or to another command
};

class StormCard : public sdk::CardChannel
{
public:
    explicit StormCard(Tally *tally) : m_tally(tally) {}

    std::string name() const override { return "storm card"; }
    bool reset(std::string *) override { return true; }
    void interrupt() override {}

    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const int instruction = apdu.size() > 4 ? apdu[1] : 0;
        if (instruction == 0x12) { // FETCH
            *answer = m_open;
            answer->insert(answer->end(), {0x90, 0x00});
            return true;
        }
        if (instruction == 0x14) { // TERMINAL RESPONSE: header of 5, then the command's own details
            const bool isRight = !m_open.empty() && apdu.size() > 10 && std::equal(&apdu[7], &apdu[10], &m_open[4]);
            ++(isRight ? m_tally->answered : m_tally->wrong);
            m_open.clear();
            std::this_thread::sleep_for(std::chrono::milliseconds(LATENCY_MS));
        }
        *answer = {0x90, 0x00};
        if ((instruction == 0x10 || instruction == 0x14) && m_tally->asked < COMMANDS) {
            m_open = stormCommand(m_tally->asked == 0 ? 6 : int(m_tally->asked)); // the menu first
            ++m_tally->asked;
            *answer = {0x91, std::uint8_t(m_open.size())};
        }
        return true;
    }

private:
    Tally *const m_tally;
    std::mutex m_mutex;
    cat::Bytes m_open; ///< the command that waits for its answer
};

/// Answers whatever is on top.
class Robot : public QObject
{
    Q_OBJECT

public:
    explicit Robot(RoadWorld *world) : m_world(world), m_isPosted(false), m_acts(0)
    {
        connect(&m_timer, SIGNAL(timeout()), this, SLOT(tick()));
        m_timer.start(2);
    }

private slots:
    void tick()
    {
        // A timer does not fire again inside its own slot: the act is posted, so that it may open dialogs.
        if (!m_isPosted)
            QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection);
        m_isPosted = true;
    }

    void act()
    {
        m_isPosted = false;
        QWidget *top = QApplication::activeModalWidget();
        ++m_acts;
        if (!top)
            return;
        if (top == m_world->frame())
            choose();
        else if (QLineEdit *field = top->findChild<QLineEdit *>())
            answer(top, field);
        else if (QMessageBox *box = top->findChild<QMessageBox *>())
            box->buttons().at(m_acts % box->buttons().size())->click();
        else
            top->close();
    }

private:
    /// In a sub-menu one of its items or back; the main menu is left alone, since a session is always open.
    void choose()
    {
        if (!m_world->button("Back")->isEnabled() || m_world->isWaiting())
            return;
        m_world->table()->setCurrentCell(0, 0);
        m_world->button(m_acts % 3 ? "Select" : "Back")->click();
    }

    void answer(QWidget *frame, QLineEdit *field)
    {
        if (m_acts % 3 == 0) {
            QTest::keyClick(frame, Qt::Key_Escape);
        } else {
            QTest::keyClick(field, Qt::Key_A);
            frame->findChild<QPushButton *>("STKPlugin _PushBtnOk")->click();
        }
    }

    RoadWorld *const m_world;
    bool m_isPosted;
    int m_acts;
    QTimer m_timer;
};

} // namespace

class tst_StormRoad : public QObject
{
    Q_OBJECT

private slots:
    void everyCommandGetsOneAnswer_data();
    void everyCommandGetsOneAnswer();
};

void tst_StormRoad::everyCommandGetsOneAnswer_data()
{
    QTest::addColumn<bool>("onUiThread");
    QTest::newRow("library's thread") << false;
    QTest::newRow("user-interface thread") << true;
}

void tst_StormRoad::everyCommandGetsOneAnswer()
{
    QFETCH(bool, onUiThread);
    Tally tally;
    RoadWorld world(onUiThread);
    QRect rect;
    QVERIFY(world.dialog->ShowStkDlg(world.host, rect));
    {
        Robot robot(&world);
        sdk::attachDevice(std::make_unique<StormCard>(&tally));
        const bool isOver = QTest::qWaitFor([&] { return tally.answered + tally.wrong >= COMMANDS; }, LIMIT_MS);
        QVERIFY2(isOver, qPrintable(QString("%1 asked, %2 answered: %3")
                                        .arg(tally.asked)
                                        .arg(tally.answered)
                                        .arg(world.exchanges().mid(world.exchanges().size() - 3).join("; "))));
        QVERIFY(QTest::qWaitFor([&] { return QApplication::activeModalWidget() == world.frame(); }, 5000));
    }
    QCOMPARE(int(tally.wrong), 0);
    QCOMPARE(int(tally.asked), COMMANDS);
    QCOMPARE(int(tally.answered), COMMANDS);
    const QStringList problems = world.end();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

QTEST_MAIN(tst_StormRoad)
#include "tst_StormRoad.moc"
