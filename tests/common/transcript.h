#pragma once

#include <QByteArray>
#include <QStringList>
#include <QtGlobal>

/*
 * Writes down, in order, the log lines of some categories and what the test
 * adds between them (a signal, say), so that a test compares a whole run at
 * once: every line, its level, and its place among the signals. A line of
 * several is written down by its first line. The lines of those categories
 * go nowhere else while the transcript lives; other lines pass on.
 *
 * \code
 * Transcript transcript({"logCatMailRuAuth", "NimblaSDK.Core.ErrorLogger"});
 * connect(session, &AbstractSession::error, [&](const QString &text) { transcript.add("error: " + text); });
 * ...
 * QCOMPARE(transcript.entries(), QStringList({"info: Start auth.", ..., "error: ..."}));
 * \endcode
 */
class Transcript
{
public:
    explicit Transcript(const QStringList &categories)
        : m_categories(categories)
        , m_previous(qInstallMessageHandler(&Transcript::write))
    {
        s_current = this;
    }

    ~Transcript()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }

    void add(const QString &entry) { m_entries << entry; }
    QStringList entries() const { return m_entries; }
    void clear() { m_entries.clear(); }

    Transcript(const Transcript &) = delete;
    Transcript &operator=(const Transcript &) = delete;

private:
    static void write(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        static const char *const levels[] = {"debug", "warning", "critical", "fatal", "info"};
        if (s_current && s_current->m_categories.contains(QLatin1String(context.category))) {
            s_current->add(QStringLiteral("%1: %2").arg(QLatin1String(levels[type]), message.section('\n', 0, 0)));
            return;
        }
        if (s_current && s_current->m_previous)
            s_current->m_previous(type, context, message);
    }

    static inline Transcript *s_current = nullptr;
    QStringList m_categories;
    QStringList m_entries;
    QtMessageHandler m_previous;
};
