#pragma once
// velora_test_child as a real process: started, read, signalled and waited for, with its own peak
// memory (wait4), for the tests that kill, quit or measure Velora from outside.
#include <QByteArray>
#include <QElapsedTimer>
#include <QStringList>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace velora::testing {

class ChildProcess {
public:
    struct Result {
        bool finished = false; // ended within the wait
        int exitCode = -1;     // when it exited
        int signal = 0;        // when a signal ended it
        long peakKb = 0;       // its peak resident set, counting what it shared with the test at the fork
        qint64 ms = 0;         // from start to end
    };

    explicit ChildProcess(const QStringList& args)
    {
        int out[2];
        if (::pipe2(out, O_CLOEXEC) != 0) return;
        std::vector<std::string> storage{VELORA_TEST_CHILD};
        for (const QString& a : args) storage.push_back(a.toStdString());
        // Made before forking: the child of a threaded process may only exec.
        std::vector<char*> argv;
        for (auto& s : storage) argv.push_back(s.data());
        argv.push_back(nullptr);
        m_clock.start();
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(out[1], STDOUT_FILENO);
            ::close(out[0]);
            ::close(out[1]);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(out[1]);
        m_out = out[0];
    }
    ~ChildProcess()
    {
        if (m_pid > 0 && !m_result.finished) {
            ::kill(m_pid, SIGKILL);
            wait(5000);
        }
        if (m_out >= 0) ::close(m_out);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Everything it printed up to a line that contains `text`; empty on time-out or end.
    QByteArray readUntil(const QByteArray& text, int timeoutMs)
    {
        QElapsedTimer t;
        t.start();
        while (!m_printed.contains(text) && t.elapsed() < timeoutMs) {
            pollfd p{m_out, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0) continue;
            char buffer[4096];
            const ssize_t n = ::read(m_out, buffer, sizeof buffer);
            if (n <= 0) break;
            m_printed.append(buffer, n);
        }
        return m_printed.contains(text) ? m_printed : QByteArray();
    }

    void signal(int sig) const { ::kill(m_pid, sig); }

    Result wait(int timeoutMs)
    {
        if (m_result.finished || m_pid <= 0) return m_result;
        QElapsedTimer t;
        t.start();
        for (;;) {
            int status = 0;
            rusage usage{};
            const pid_t done = ::wait4(m_pid, &status, WNOHANG, &usage);
            if (done == m_pid) {
                m_result.finished = true;
                m_result.ms = m_clock.elapsed();
                m_result.peakKb = usage.ru_maxrss;
                if (WIFEXITED(status)) m_result.exitCode = WEXITSTATUS(status);
                if (WIFSIGNALED(status)) m_result.signal = WTERMSIG(status);
                return m_result;
            }
            if (t.elapsed() >= timeoutMs) return m_result;
            ::usleep(2000);
        }
    }

    // Runs to the end and returns what it printed.
    QByteArray output(int timeoutMs)
    {
        readUntil("\n\xff", timeoutMs); // never printed: reads until the pipe closes
        wait(timeoutMs);
        return m_printed;
    }

    pid_t pid() const { return m_pid; }

    // The peak resident size the child printed of itself ("peak-kb N"); 0 when it printed none.
    long reportedPeakKb() const
    {
        const qsizetype at = m_printed.indexOf("peak-kb ");
        return at < 0 ? 0 : m_printed.mid(at + 8).split('\n').front().toLong();
    }

private:
    pid_t m_pid = -1;
    int m_out = -1;
    QByteArray m_printed;
    QElapsedTimer m_clock;
    Result m_result;
};

} // namespace velora::testing
