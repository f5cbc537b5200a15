/* The format strings of the generated client stub, which the stub keeps to itself. */
#ifndef TESTS_WIRE_CLIENT_FORMAT_H
#define TESTS_WIRE_CLIENT_FORMAT_H

#ifdef __cplusplus
extern "C"
{
#endif

    const unsigned char* ClientProcedureFormat(void);
    const unsigned char* ClientTypeFormat(void);

#ifdef __cplusplus
}
#endif

#endif
