#include "constants.h"

const QString ABOUT_TEXT =
    QStringLiteral("<p><b>%1 %2</b></p>").arg(APP_NAME, APP_VERSION) +
    QStringLiteral("<p>Copyright &copy; %1 %2. All rights reserved.</p>")
        .arg(APP_YEAR, ORG_DISPLAY_NAME) +
    QStringLiteral("<p>This program was created using %1 %2</p>").arg(TOOL_NAME, TOOL_VERSION) +
    QStringLiteral("<p>The program is provided AS IS with NO WARRANTY OF ANY KIND, INCLUDING THE "
                   "WARRANTY OF DESIGN, MERCHANTABILITY AND FITNESS FOR A PARTICULAR PURPOSE. "
                   "See the documentation of the evaluation kit for its use.</p>") +
    QStringLiteral("<p><a href=\"https://www.%1/\">www.%1</a></p>").arg(ORG_DOMAIN);
