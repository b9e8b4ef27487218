' Prints a table in the AppForge format: its columns and every record.
'
'   cscript //nologo show.vbs Inventory.pdb
'   cscript //nologo show.vbs Inventory.pdb OUTPUT.txt
'   cscript //nologo show.vbs Inventory.pdb OUTPUT.txt FOLDER
'
' The second form writes a Unicode file, for the characters that the console lacks; the third also
' draws every signature, as a bitmap in the folder that is named after the record's first column.

Option Explicit

Const AttributeNames = "secret,16,dirty,64,deleted,128"
Const TypeList = ",byte,integer,long,float,string,boolean,date,double,currency,signature"
Const BooleanField = 6, SignatureField = 10

Dim database, definition, record, stream, output, typeNames

If WScript.Arguments.Count < 1 Then
  WScript.Echo "Usage: cscript //nologo show.vbs FILE.pdb [OUTPUT.txt [FOLDER]]"
  WScript.Quit 2
End If
typeNames = Split(TypeList, ",")
Set output = Nothing
If WScript.Arguments.Count > 1 Then
  Set output = CreateObject("Scripting.FileSystemObject").CreateTextFile(WScript.Arguments(1), _
      True, True)
End If

Set database = CreateObject("Pylon.PDBDatabasePC")
Set definition = CreateObject("Pylon.PDBAppforgeDefinition")
Set record = CreateObject("Pylon.PDBAppforgeRecord")
Set stream = CreateObject("Pylon.PDBByteStream")

database.DatabaseFor = 4  ' as Windows PC databases are written
database.PDBFilePath = WScript.Arguments(0)
If Not database.OpenDatabase() Then
  WScript.Echo WScript.Arguments(0) & " can't be opened"
  WScript.Quit 1
End If
database.ReadAppInfoBlock stream
If Not definition.IsAppforgeData(stream) Then
  WScript.Echo WScript.Arguments(0) & " holds no table"
  WScript.Quit 1
End If
Set record.AppforgeDefinition = definition
ShowHeader
ShowRecords
database.CloseDatabase
If Not output Is Nothing Then output.Close

Sub Say(line)
  If output Is Nothing Then WScript.Echo line Else output.WriteLine line
End Sub

Sub ShowHeader
  Dim i
  Say database.PDBDatabaseName & ": creator " & database.CreatorId & ", " & _
      definition.FieldCount & " columns, " & database.RecordCount & " records"
  For i = 1 To definition.FieldCount
    Say "  " & definition.FieldName(i) & ", " & typeNames(definition.FieldType(i))
  Next
End Sub

Sub ShowRecords
  Dim index, id, category, attributes, i
  database.IterationIndex = 1
  Do While database.ReadNext(index, id, category, attributes, stream)
    Say ""
    Say index & ". id " & id & AttributeList(attributes)
    Set record.ByteStream = stream
    For i = 1 To definition.FieldCount
      Say "     " & definition.FieldName(i) & " = " & Text(i)
      If WScript.Arguments.Count > 2 And definition.FieldType(i) = SignatureField Then Draw i
    Next
  Loop
End Sub

' StringValue is the same in every country, unlike what VBScript makes of a number or a date.
Function Text(i)
  Select Case definition.FieldType(i)
    Case BooleanField
      Text = record.BooleanValue(i)
    Case SignatureField
      Text = "(" & Len(record.StringValue(i)) & " units)"
    Case Else
      Text = Replace(record.StringValue(i), vbLf, " / ")
  End Select
End Function

Sub Draw(i)
  If Not record.HasValue(i) Then Exit Sub
  Dim signature
  Set signature = record.SignatureValue(i)
  signature.Stamp = record.StringValue(1)
  signature.CreateBMP WScript.Arguments(2) & "\" & record.StringValue(1) & ".bmp"
End Sub

Function AttributeList(attributes)
  Dim parts, i
  AttributeList = ""
  parts = Split(AttributeNames, ",")
  For i = 0 To UBound(parts) Step 2
    If (attributes And CInt(parts(i + 1))) <> 0 Then AttributeList = AttributeList & ", " & parts(i)
  Next
End Function
