# The audit usage report (tools/qxesauditreport).
