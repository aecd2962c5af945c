#include "constants.h"

namespace {

// Ends a sentence with a period, unless its last word brings one along.
QString sentence(const QString &text)
{
    return text.endsWith(QLatin1Char('.')) ? text : text + QLatin1Char('.');
}

} // namespace

const QString ABOUT_TEXT =
    QStringLiteral("<p><b>%1 %2</b></p>").arg(APP_NAME, APP_VERSION) +
    QStringLiteral("<p>Copyright &copy; %1 All rights reserved.</p>")
        .arg(sentence(APP_YEAR + QLatin1Char(' ') + ORG_DISPLAY_NAME)) +
    QStringLiteral("<p>This program was created using %1 %2</p>").arg(TOOL_NAME, TOOL_VERSION) +
    QStringLiteral("<p>The program is provided AS IS with NO WARRANTY OF ANY KIND, INCLUDING THE "
                   "WARRANTY OF DESIGN, MERCHANTABILITY AND FITNESS FOR A PARTICULAR PURPOSE. "
                   "See the documentation of the evaluation kit for its use.</p>") +
    QStringLiteral("<p><a href=\"https://www.%1/\">www.%1</a></p>").arg(ORG_DOMAIN);
