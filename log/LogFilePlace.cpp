#include "log/LogFilePlace.h"

#include "log/LogPaths.h"

namespace HalvorixAppLog {

void LogFilePlace::Find(const Question& question, const std::string& process,
                        const std::string& pid, LogClock& clock) {
    if (question == answered) return;
    const std::tm time = clock.LocalTime(question.time);
    midnight = clock.Midnight(time);
    directory = *question.path;
    if (question.monthdir) directory += MonthDirectory(time);
    path = directory + LogFileName(process, *question.name, time, pid, question.index);
    answered = question;
}

}  // namespace HalvorixAppLog
