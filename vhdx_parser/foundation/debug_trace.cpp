#include <vhdx_parser/debug_trace.h>

NDebugTrace::IWriter* NDebugTrace::g_pwriter = nullptr;
const char* _pszDebugTraceContext = nullptr;
