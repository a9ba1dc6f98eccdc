#include "SoundServer.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

namespace
{

const int limit = 20000; // milliseconds

bool fail(const char *what, const QProcess &program, const QByteArray &output)
{
    qWarning("SoundServer: %s: state %d, exit code %d, %s\n%s", what, int(program.state()), program.exitCode(),
             qPrintable(program.errorString()), output.constData());
    return false;
}

void end(QProcess *program)
{
    if (program->state() == QProcess::NotRunning)
        return;
    program->terminate();
    if (!program->waitForFinished(5000)) {
        program->kill();
        program->waitForFinished(5000);
    }
}

/// Starts a program that the kernel ends when this process is no more, however that came.
void startChild(QProcess *program, const QStringList &line)
{
    program->start("setpriv", QStringList({"--pdeathsig", "TERM"}) + line);
}

} // namespace

SoundServer::SoundServer()
{
    const QByteArray folder = QFile::encodeName(m_folder.path());
    qputenv("PULSE_RUNTIME_PATH", folder);
    qputenv("PULSE_STATE_PATH", folder);
    qputenv("PULSE_COOKIE", folder + "/cookie");
    qputenv("PULSE_SERVER", "unix:" + folder + "/native");
    m_server.setProcessChannelMode(QProcess::MergedChannels);
}

SoundServer::~SoundServer()
{
    end(&m_recorder);
    end(&m_server);
}

bool SoundServer::start()
{
    if (!m_folder.isValid())
        return fail("no temporary folder", m_server, QByteArray());
    // Without rewinding, what the speaker has taken is recorded as it is, not computed again when a sound starts.
    startChild(&m_server, {"pulseaudio", "-n", "--system=no", "--daemonize=no", "--use-pid-file=no",
                           "--exit-idle-time=-1", "--disable-shm=yes", "--realtime=no", "--high-priority=no", "--load",
                           "module-native-protocol-unix auth-anonymous=1 socket=" + m_folder.filePath("native"),
                           "--load", "module-null-sink sink_name=recorder norewinds=1"});
    const bool answers =
        m_server.waitForStarted(limit) && QTest::qWaitFor(
                                              [this] {
                                                  QProcess question;
                                                  question.start("pactl", {"info"});
                                                  return m_server.state() == QProcess::NotRunning ||
                                                         (question.waitForFinished(5000) && question.exitCode() == 0);
                                              },
                                              limit);
    return (answers && m_server.state() == QProcess::Running) ||
           fail("the server does not start", m_server, m_server.readAll());
}

void SoundServer::kill()
{
    end(&m_recorder);
    m_server.kill();
    m_server.waitForFinished(5000);
}

bool SoundServer::record()
{
    end(&m_recorder);
    m_recorder.readAll();
    m_bytes.clear();
    startChild(&m_recorder, {"parec", "--raw", "--device=recorder.monitor", "--format=s16le", "--channels=1",
                             "--rate=" + QString::number(rate), "--latency-msec=20"});
    return QTest::qWaitFor([this] { return !recorded().isEmpty(); }, limit) ||
           fail("nothing is recorded", m_recorder, m_recorder.readAllStandardError());
}

wave::Samples SoundServer::recorded()
{
    m_bytes += m_recorder.readAllStandardOutput();
    return wave::samples(m_bytes);
}

QVector<wave::Sound> SoundServer::sounds()
{
    return wave::sounds(recorded(), rate);
}

bool SoundServer::waitForSilence(int milliseconds)
{
    const int start = recorded().size();
    const auto isSilent = [=] {
        const wave::Samples samples = recorded();
        const QVector<wave::Sound> found = wave::sounds(samples, rate);
        const qint64 time = qint64(samples.size()) * 1000 / rate;
        const qint64 silentSince = found.isEmpty() ? 0 : found.last().start + found.last().length;
        return time - qMax(silentSince, qint64(start) * 1000 / rate) >= milliseconds;
    };
    return QTest::qWaitFor(isSilent, limit);
}
