#pragma once

#include <QLoggingCategory>
#include <QVector>

namespace NimblaSDK {

/*
 * One row of a session's failure table: what each channel says about one kind
 * of failure, and in which order the channels are told. A session keeps its
 * rows as constants and hands one to AbstractSession::_reportFailure(); the
 * words that depend on the answer come from the ServiceReply given with it.
 *
 * The channels are told in the order the row was built in, so a row reads
 * like the steps it stands for:
 *
 * \code
 * // critical "loading login_url failed " + error string + code; event; _logError; error(error string)
 * const FailureRow NetworkFailure = FailureRow(lcLoginSession)
 *         .logReply(FailureRow::NetworkLine, "loading login_url failed ")
 *         .event("LoginPassAuthFailed")
 *         .report("NimblaLogin: Authorization failed", FailureRow::FirstLogLine)
 *         .errorFromNetwork();
 *
 * // error("Network error"); _logError("Social auth: network error", ""); critical "Can't get JWT token"
 * const FailureRow CallbackFailed = FailureRow(lcSocialAuth)
 *         .error("Network error")
 *         .report("Social auth: network error")
 *         .log("Can't get JWT token");
 * \endcode
 *
 * A row without error() (a captcha prompt, a result signal of its own) lets
 * the session emit what it needs after the report. Each log() or logReply()
 * is a step of its own, so critical lines can stand on either side of the
 * other channels.
 */
struct FailureRow
{
    enum Channel { Log, Event, Report, Error };

    //! What the critical lines say.
    enum Lines {
        FixedLine,    //!< the row's line as it stands
        NetworkLine,  //!< prefix + the reply's error string + the error code as one character
        ServiceLines, //!< prefix + the service's description, then "Reply: " + the answer as indented JSON
        RawLines,     //!< the prefix alone, then "Reply: " + the raw body
        ErrorStringLine, //!< prefix + the reply's error string
        DescriptionLine, //!< prefix + the service's description
    };
    //! What error() says.
    enum Text { FixedText, TranslatedText, ServiceText, NetworkText };
    //! What the description of _logError() says.
    enum Details { NoDetails, ServiceDescription, NetworkErrorString, FirstLogLine };

    using Category = const QLoggingCategory &(*)();

    explicit FailureRow(Category logCategory)
        : category(logCategory)
    {
    }

    //! One critical step: its shape and the words it starts with.
    struct LogStep
    {
        Lines shape;
        const char *words;
    };

    //! Writes \a text as a critical line.
    FailureRow &log(const char *text) { return logWith(FixedLine, text); }
    //! Writes the reply's critical lines in the shape \a shape, with \a words where Lines puts the row's words.
    FailureRow &logReply(Lines shape, const char *words) { return logWith(shape, words); }
    //! Tracks the analytics event \a name with an empty value.
    FailureRow &event(const char *name)
    {
        eventName = name;
        return tell(Event);
    }
    //! Calls _logError(\a title, ...) with the description \a what.
    FailureRow &report(const char *title, Details what = NoDetails)
    {
        reportTitle = title;
        details = what;
        return tell(Report);
    }
    //! Emits error(\a text), not translated.
    FailureRow &error(const char *text) { return errorWith(FixedText, text); }
    //! Emits error() with \a key translated in the session's class context; mark the key with QT_TRANSLATE_NOOP.
    FailureRow &translatedError(const char *key) { return errorWith(TranslatedText, key); }
    //! Emits error() with the service's description, shown to the player as the service wrote it.
    FailureRow &errorFromService() { return errorWith(ServiceText, nullptr); }
    //! Emits error() with the reply's error string.
    FailureRow &errorFromNetwork() { return errorWith(NetworkText, nullptr); }

    Category category;
    QVector<Channel> order;
    QVector<LogStep> logSteps; //!< one for each Log in order
    const char *eventName = nullptr;
    const char *reportTitle = nullptr;
    Details details = NoDetails;
    Text textSource = FixedText;
    const char *text = nullptr;

private:
    FailureRow &tell(Channel channel)
    {
        order.append(channel);
        return *this;
    }
    FailureRow &logWith(Lines shape, const char *words)
    {
        logSteps.append({shape, words});
        return tell(Log);
    }
    FailureRow &errorWith(Text source, const char *words)
    {
        textSource = source;
        text = words;
        return tell(Error);
    }
};

} // namespace NimblaSDK
