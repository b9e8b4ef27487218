' Prints a database in a PDB file: its header and every record.
'
'   cscript //nologo show.vbs MemoDB.pdb
'   cscript //nologo show.vbs MemoDB.pdb OUTPUT.txt
'
' The second form writes a Unicode file, for the characters that the console lacks.

Option Explicit

Const AttributeNames = "archive,8,secret,16,dirty,64,deleted,128"

Dim database, stream, output

If WScript.Arguments.Count < 1 Then
  WScript.Echo "Usage: cscript //nologo show.vbs FILE.pdb [OUTPUT.txt]"
  WScript.Quit 2
End If
Set output = Nothing
If WScript.Arguments.Count > 1 Then
  Set output = CreateObject("Scripting.FileSystemObject").CreateTextFile(WScript.Arguments(1), _
      True, True)
End If

Set database = CreateObject("Pylon.PDBDatabasePC")
Set stream = CreateObject("Pylon.PDBByteStream")
stream.UTF8Strings = False  ' the handheld's text has one byte a character

database.DatabaseFor = 4  ' as Windows PC databases are written
database.PDBFilePath = WScript.Arguments(0)
If Not database.OpenDatabase() Then
  WScript.Echo WScript.Arguments(0) & " can't be opened"
  WScript.Quit 1
End If
ShowHeader
ShowRecords
database.CloseDatabase
If Not output Is Nothing Then output.Close

Sub Say(line)
  If output Is Nothing Then WScript.Echo line Else output.WriteLine line
End Sub

Sub ShowHeader
  Say database.PDBDatabaseName & ": type " & database.DatabaseType & ", creator " & _
      database.CreatorId & ", " & database.RecordCount & " records"
End Sub

Sub ShowRecords
  Dim index, id, category, attributes, text, offset
  database.IterationIndex = 1
  Do While database.ReadNext(index, id, category, attributes, stream)
    text = ""
    offset = 0
    stream.ByteToString text, offset
    If Right(text, 1) = vbLf Then text = Left(text, Len(text) - 1)
    Say ""
    Say index & ". id " & id & ", category " & CategoryName(category) & _
        AttributeList(attributes)
    Say "     " & Replace(text, vbLf, vbCrLf & "     ")
  Loop
End Sub

' The name that the standard category block, at the start of AppInfo, gives a category.
Function CategoryName(category)
  Dim block, name, offset
  CategoryName = category
  Set block = CreateObject("Pylon.PDBByteStream")
  database.ReadAppInfoBlock block
  offset = 2 + 16 * category
  If offset + 16 > block.length Then Exit Function
  name = ""
  block.ByteToFixString name, offset, 16
  CategoryName = category & " (" & name & ")"
End Function

Function AttributeList(attributes)
  Dim parts, i
  AttributeList = ""
  parts = Split(AttributeNames, ",")
  For i = 0 To UBound(parts) Step 2
    If (attributes And CInt(parts(i + 1))) <> 0 Then AttributeList = AttributeList & ", " & parts(i)
  Next
End Function
