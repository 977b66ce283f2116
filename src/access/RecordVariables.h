/* The environment variables by which the program tells its recording library what to do, before it loads it. */
#ifndef RECORDVARIABLES_H
#define RECORDVARIABLES_H

/* The file of the record, which must not exist. Unset or empty: nothing is recorded. */
#define TWL1394_RECORD_VARIABLE "TWL1394_RECORD"
/* The access library that carries the bus. */
#define TWL1394_RECORDED_VARIABLE "TWL1394_RECORD_LIBRARY"
/* What the record says of its origin: lines "name=value", each with its line end (RecordFormat.h). */
#define TWL1394_ABOUT_VARIABLE "TWL1394_RECORD_ABOUT"
/* Not empty: images, keys and GUIDs are replaced (Redaction.h). */
#define TWL1394_REDACT_VARIABLE "TWL1394_RECORD_REDACT"

#endif
